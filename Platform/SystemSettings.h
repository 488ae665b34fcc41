#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

#include "Platform/PropertyValue.h"

namespace zqm {

/// Places, texts and switches that the system keeps for this process. Callable from any thread.
class SystemSettings {
public:
    virtual ~SystemSettings() = default;
    /// The directory that the helper shares with the programs of its group, made when missing; nullopt when there is
    /// none and none can be made.
    virtual std::optional<std::filesystem::path> sharedContainer(std::string_view identifier) = 0;
    virtual std::optional<std::string> environment(std::string_view name) = 0;
};

/// What the network reader and the diagnostics report ask beyond that. Callable from any thread.
class SystemFacts {
public:
    virtual ~SystemFacts() = default;
    /// The system's proxy switches ("HTTPEnable", "HTTPSEnable", "SOCKSEnable": 1 when on) and hosts ("HTTPProxy",
    /// "SOCKSProxy"); nullopt when there are no settings.
    virtual std::optional<PropertyDictionary> proxySettings() = 0;
    /// A text of the program's own description, "CFBundleShortVersionString" or "CFBundleVersion".
    virtual std::optional<std::string> bundleText(std::string_view key) = 0;
    /// The operating system's version as a person reads it.
    virtual std::string systemVersion() = 0;
};

}  // namespace zqm
