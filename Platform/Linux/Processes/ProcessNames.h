#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "Platform/Linux/Kernel/RootDirectory.h"
#include "Platform/Machine/ProcessTable.h"

namespace zqm {

/// Completes names that the kernel cut at 15 bytes. Remembers those asked for lately. One thread at a time.
class ProcessNames {
public:
    explicit ProcessNames(const RootDirectory& root) : root_(root) {}

    std::string fullName(const ProcessRow& row);

private:
    std::string complete(const ProcessRow& row) const;

    struct Known {
        std::int32_t pid = 0;
        std::uint64_t startTime = 0;
        std::string cut, full;  // a process may change its name
    };

    const RootDirectory& root_;
    std::array<Known, 128> known_;
    std::size_t oldest_ = 0;
};

/// The name that `cut` is the beginning of, from a process's arguments, each ended by NUL, or the path of its
/// executable; `cut` when there is none.
std::string completeProcessName(std::string_view cut, std::string_view arguments, std::string_view executable);

}  // namespace zqm
