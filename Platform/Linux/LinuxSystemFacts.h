#pragma once

#include <string>

#include "Platform/Apple/ProxySettings.h"
#include "Platform/Linux/Kernel/Cadence.h"
#include "Platform/Linux/Kernel/RootDirectory.h"
#include "Platform/Machine/SystemFacts.h"
#include "Platform/Process/SystemSettings.h"
#include "Support/Mutex.h"

namespace zqm {

/// Proxies of the environment, else of the desktop's and the system's files (read every 10 seconds at most); the
/// distribution and the kernel as the system's version. Callable from any thread.
class LinuxSystemFacts final : public SystemFacts, public ProxySettings {
public:
    /// `version` is this program's. The others outlive it.
    LinuxSystemFacts(const RootDirectory& root, SystemSettings& settings, Clock& clock, std::string version)
        : root_(root), settings_(settings), clock_(clock), version_(std::move(version)) {}

    std::optional<PropertyDictionary> proxySettings() override;
    std::optional<std::string> bundleText(std::string_view key) override;
    std::string systemVersion() override;
    std::optional<std::string> hardwareModel() override;
    std::optional<std::string> processorName() override;

private:
    std::optional<PropertyDictionary> readProxyFiles() const;
    std::string userConfiguration(std::string_view file) const;

    const RootDirectory& root_;
    SystemSettings& settings_;
    Clock& clock_;
    const std::string version_;
    Mutex mutex_;
    Cadence fileReading_ ZQM_GUARDED_BY(mutex_){Seconds(10)};
    std::optional<PropertyDictionary> ofFiles_ ZQM_GUARDED_BY(mutex_);
};

}  // namespace zqm
