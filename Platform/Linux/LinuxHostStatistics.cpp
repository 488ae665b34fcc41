#include "Platform/Linux/LinuxHostStatistics.h"

#include <unistd.h>

namespace zqm {

std::optional<VirtualMemoryPages> LinuxHostStatistics::virtualMemory() {
    const auto size = pageSize();
    const auto info = memory_.read();
    if (!size || !info) return std::nullopt;
    return memoryPages(*info, zram_.usedBytes(), *size);
}

std::optional<std::uint64_t> LinuxHostStatistics::pageSize() {
    const long size = ::sysconf(_SC_PAGESIZE);
    return size > 0 ? std::optional(static_cast<std::uint64_t>(size)) : std::nullopt;
}

}  // namespace zqm
