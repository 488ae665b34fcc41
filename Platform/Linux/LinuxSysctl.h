#pragma once

#include "Platform/Apple/Sysctl.h"
#include "Platform/Linux/LinuxMemory.h"
#include "Platform/Linux/Processors/Processors.h"

namespace zqm {

/// The named kernel values, put together from /proc and /sys.
class LinuxSysctl final : public Sysctl {
public:
    LinuxSysctl(const RootDirectory& root, Processors& processors, MemoryInfoSource& memory)
        : root_(root), processors_(processors), memory_(memory), pressure_(root.path("/proc/pressure/memory")) {}

    std::optional<Bytes> read(std::string_view name) override;

private:
    std::optional<Bytes> memorySize();
    std::optional<Bytes> swapUsage();
    std::optional<Bytes> pressureLevel();
    struct Level {
        std::string_view name;
        std::int32_t processors = 0;
    };
    std::vector<Level> levels();
    std::optional<Bytes> levelCount();
    std::optional<Bytes> levelValue(std::string_view key);

    const RootDirectory& root_;
    Processors& processors_;
    MemoryInfoSource& memory_;
    Mutex mutex_;
    KernelFile pressure_ ZQM_GUARDED_BY(mutex_);
};

}  // namespace zqm
