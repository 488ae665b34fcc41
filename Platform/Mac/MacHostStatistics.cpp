#include "Platform/Mac/MacHostStatistics.h"

#include <algorithm>

namespace zqm {
namespace {

constexpr int processorLoadInfo = 2;    // PROCESSOR_CPU_LOAD_INFO: user, system, idle, nice
constexpr int virtualMemoryInfo64 = 4;  // HOST_VM_INFO64

/// `wide` moved to where its low 32 bits are `word`, by the shorter way: the kernel also takes a little back at times.
std::uint64_t movedTo(std::uint32_t word, std::uint64_t wide) {
    const std::int64_t step = static_cast<std::int32_t>(word - static_cast<std::uint32_t>(wide));
    return step < 0 && wide < static_cast<std::uint64_t>(-step) ? word : wide + static_cast<std::uint64_t>(step);
}

}  // namespace

MacHostStatistics::MacHostStatistics(const MachCalls& mach, DynamicLibraries& libraries)
    : mach_(mach), calls_(libraries), host_(mach.isWhole() && calls_.mach_host_self ? calls_.mach_host_self() : 0) {}

MacHostStatistics::~MacHostStatistics() {
    if (host_) mach_.mach_port_deallocate(*mach_.mach_task_self_, host_);
}

std::optional<std::vector<ProcessorTicks>> MacHostStatistics::processorTicks() {
    if (!host_ || !calls_.host_processor_info || !calls_.vm_deallocate) return std::nullopt;
    std::uint32_t processors = 0;
    std::uint32_t count = 0;
    std::uint32_t* words = nullptr;
    if (calls_.host_processor_info(host_, processorLoadInfo, &processors, &words, &count) != 0 || !words) {
        return std::nullopt;
    }
    const std::size_t whole = std::min<std::size_t>(processors, count / 4);
    const bool isNew = ticks_.size() != whole;
    ticks_.resize(whole);
    std::vector<ProcessorTicks> ticks;
    for (std::size_t i = 0; i < whole; ++i) {
        for (std::size_t state = 0; state < 4; ++state) {
            const std::uint32_t word = words[4 * i + state];
            ticks_[i][state] = isNew ? word : movedTo(word, ticks_[i][state]);
        }
        ticks.push_back({ticks_[i][0], ticks_[i][1], ticks_[i][2], ticks_[i][3]});
    }
    calls_.vm_deallocate(*mach_.mach_task_self_, reinterpret_cast<std::uintptr_t>(words), count * sizeof *words);
    return ticks;
}

std::optional<VirtualMemoryPages> MacHostStatistics::virtualMemory() {
    if (!host_ || !calls_.host_statistics64) return std::nullopt;
    VirtualMemoryRecord record{};
    std::uint32_t count = sizeof record / sizeof(std::uint32_t);
    if (calls_.host_statistics64(host_, virtualMemoryInfo64, &record, &count) != 0) return std::nullopt;
    return VirtualMemoryPages{record.active,     record.inactive,  record.speculative, record.wired,
                              record.compressor, record.purgeable, record.external};
}

std::optional<std::uint64_t> MacHostStatistics::pageSize() {
    std::uintptr_t size = 0;
    if (!host_ || !calls_.host_page_size || calls_.host_page_size(host_, &size) != 0) return std::nullopt;
    return size;
}

}  // namespace zqm
