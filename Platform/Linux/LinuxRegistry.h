#pragma once

#include "Platform/Apple/Registry.h"
#include "Platform/Linux/Hardware/Batteries.h"
#include "Platform/Linux/Hardware/BlockDrives.h"
#include "Platform/Linux/Hardware/GraphicsCards.h"
#include "Platform/Linux/PowerController.h"
#include "Platform/Linux/Processors/ProcessorFrequencies.h"
#include "Platform/Linux/Processors/Processors.h"
#include "Support/Mutex.h"

namespace zqm {

/// Where the registry's entries come from.
struct RegistrySources {
    const RootDirectory& root;
    Processors& processors;
    ProcessorFrequencies& frequencies;
    GraphicsCards& cards;
    Batteries& batteries;
    PowerController& controller;
};

/// The registry's classes, put together from /proc and /sys. Classes without a source on Linux have no services.
class LinuxRegistry final : public Registry {
public:
    explicit LinuxRegistry(const RegistrySources& sources) : sources_(sources), drives_(sources.root) {}

    std::optional<std::vector<std::unique_ptr<RegistryEntry>>> services(std::string_view className) override;

private:
    using Entries = std::vector<std::unique_ptr<RegistryEntry>>;
    Entries machine();
    Entries powerManager();
    Entries drives();
    Entries graphics();
    Entries battery();
    Entries controller();

    const RegistrySources sources_;
    Mutex mutex_;
    BlockDrives drives_ ZQM_GUARDED_BY(mutex_);
};

}  // namespace zqm
