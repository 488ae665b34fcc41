#pragma once

#include "Platform/Apple/NetworkInterfaces.h"
#include "Platform/Apple/ProxySettings.h"
#include "Platform/Mac/CoreValues.h"
#include "Platform/Mac/Libraries/CFNetwork.h"
#include "Platform/Mac/Libraries/LibSystem.h"

namespace zqm {

/// The addresses of interfaces through getifaddrs. Callable from any thread.
class MacAddresses final : public InterfaceAddresses {
public:
    explicit MacAddresses(DynamicLibraries& libraries) : calls_(libraries) {}
    std::optional<std::vector<InterfaceAddress>> ipv4() override;
    /// What the system lacks; empty: nothing.
    const std::string& missing() const { return calls_.missing(); }

private:
    const AddressCalls calls_;
};

/// The proxies of the system's settings. Callable from any thread.
class MacProxySettings final : public ProxySettings {
public:
    MacProxySettings(const CoreFoundation& core, DynamicLibraries& libraries) : core_(core), calls_(libraries) {}
    std::optional<PropertyDictionary> proxySettings() override;
    /// What the system lacks; empty: nothing.
    const std::string& missing() const { return core_.isWhole() ? calls_.missing() : core_.missing(); }

private:
    const CoreFoundation& core_;
    const ProxyCalls calls_;
};

}  // namespace zqm
