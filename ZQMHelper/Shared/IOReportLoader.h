#pragma once

#include <bitset>
#include <mutex>

#include "Platform/Apple/IOReport.h"
#include "Platform/Platform.h"

namespace zqm {

/// The system's private counter library, opened on first use and never closed.
///
/// Every loader of a process finds the same library: opening it again gives the same one. Safe for first use from two
/// threads at once; what is found is settled then and never changes.
class IOReportLoader {
public:
    explicit IOReportLoader(Platform& platform = Platform::current()) : ioReport_(platform.ioReport) {}

    /// Whether the library is there with the nine operations that sampling cannot do without. The unit label and the
    /// simple value are not among them: test these with `has`.
    bool isAvailable();
    /// Whether every one of the operations is there.
    template <class... Operations>
    bool has(Operations... operations) {
        return library() && (found_[static_cast<std::size_t>(operations)] && ...);
    }
    /// The library; null when it cannot be opened. Call only the operations that `has` confirms.
    ReportLibrary* library();

private:
    void open();

    IOReport& ioReport_;
    std::once_flag opened_;
    ReportLibrary* library_ = nullptr;
    std::bitset<11> found_;
};

}  // namespace zqm
