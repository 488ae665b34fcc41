#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <vector>

#include "Platform/Linux/Kernel/KernelFile.h"
#include "Platform/Linux/Kernel/RootDirectory.h"
#include "Platform/Machine/ProcessorTicks.h"
#include "Platform/Machine/SourceReport.h"

namespace zqm {

/// The first eight figures of a processor's line in /proc/stat.
using ProcessorFields = std::array<std::uint64_t, 8>;

/// The logical processors that /proc/stat shows, in the order of their numbers. One thread at a time.
///
/// Lines of that file come and go as processors go offline and return, so a processor is known by its number, never by
/// its line. All that sysfs calls present have their place from the start, so that nothing changes when one comes
/// online; one that is offline stands still. A container that imitates the file tells of its own processors alone.
/// Ticks count from the first reading and never fall.
class Processors {
public:
    explicit Processors(const RootDirectory& root);

    /// nullopt when the file cannot be read or shows no processor.
    std::optional<std::vector<ProcessorTicks>> ticks();
    /// The kernel's numbers of the same processors in the same order; without /proc/stat, those that sysfs calls
    /// present.
    std::vector<unsigned> numbers();
    SourceDescription describe() const { return root_.describe(statistics_); }

private:
    struct Processor {
        unsigned number = 0;
        ProcessorFields fields{};  // as read last
        ProcessorTicks ticks{};
    };
    static void advance(Processor& processor, const ProcessorFields& fields);
    bool refresh();

    const RootDirectory& root_;
    KernelFile statistics_;
    std::vector<Processor> processors_;  // ascending by number
};

}  // namespace zqm
