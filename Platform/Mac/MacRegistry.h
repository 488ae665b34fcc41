#pragma once

#include <string>

#include "Platform/Apple/Registry.h"
#include "Platform/Mac/CoreValues.h"
#include "Platform/Mac/Libraries/LibSystem.h"

namespace zqm {

/// The registry of devices through IOKit; kinds of processors and the battery's capacities as readers expect them,
/// however this system tells them. Callable from any thread.
class MacRegistry final : public Registry {
public:
    /// `calls` and `mach` outlive everything that is handed out.
    MacRegistry(const CoreFoundation& calls, const MachCalls& mach, DynamicLibraries& libraries);
    std::optional<std::vector<std::unique_ptr<RegistryEntry>>> services(std::string_view className) override;

    /// What the system lacks that entries or their connections need; empty: nothing.
    const std::string& missing() const { return core_.isWhole() ? registry_.missing() : core_.missing(); }
    const std::string& missingForConnections() const { return clients_.missing(); }

private:
    const CoreFoundation& core_;
    const MachCalls& mach_;
    const RegistryCalls registry_;
    const UserClientCalls clients_;
};

}  // namespace zqm
