#pragma once

#include "Platform/Linux/BlockDrives.h"
#include "Platform/Linux/LinuxProcessors.h"
#include "Platform/Registry.h"
#include "Support/Mutex.h"

namespace zqm {

/// The registry's classes, put together from /proc and /sys. Classes without a source on Linux have no services.
class LinuxRegistry final : public Registry {
public:
    LinuxRegistry(const RootDirectory& root, LinuxProcessors& processors)
        : root_(root), processors_(processors), drives_(root) {}

    std::optional<std::vector<std::unique_ptr<RegistryEntry>>> services(std::string_view className) override;

private:
    std::unique_ptr<RegistryEntry> machine();
    std::vector<std::unique_ptr<RegistryEntry>> drives();

    const RootDirectory& root_;
    LinuxProcessors& processors_;
    Mutex mutex_;
    BlockDrives drives_ ZQM_GUARDED_BY(mutex_);
};

}  // namespace zqm
