#pragma once

#include "Platform/Apple/Sysctl.h"
#include "Platform/Mac/CoreValues.h"
#include "Platform/Mac/Libraries/CFNetwork.h"
#include "Platform/Machine/SystemFacts.h"

namespace zqm {

/// The program's bundle, or the property list that stands in the program itself, and the kernel's texts about the
/// system. Callable from any thread.
class MacSystemFacts final : public SystemFacts {
public:
    MacSystemFacts(const CoreFoundation& core, Sysctl& sysctl, DynamicLibraries& libraries)
        : core_(core), sysctl_(sysctl), calls_(libraries) {}
    std::optional<std::string> bundleText(std::string_view key) override;
    /// As in "Version 15.1 (Build 24B83)"; "unknown" when either number is not told.
    std::string systemVersion() override;
    std::optional<std::string> hardwareModel() override { return sysctlText(sysctl_, "hw.model"); }
    std::optional<std::string> processorName() override { return sysctlText(sysctl_, "machdep.cpu.brand_string"); }

private:
    const CoreFoundation& core_;
    Sysctl& sysctl_;
    const BundleCalls calls_;
};

}  // namespace zqm
