#pragma once

#include <string>

#include "Platform/Linux/Kernel/RootDirectory.h"
#include "Platform/Machine/SystemFacts.h"

namespace zqm {

/// The distribution and the kernel as the system's version, the firmware's or device tree's name of the machine.
class LinuxSystemFacts final : public SystemFacts {
public:
    /// `version` is this program's. The root outlives it.
    LinuxSystemFacts(const RootDirectory& root, std::string version) : root_(root), version_(std::move(version)) {}

    std::optional<std::string> bundleText(std::string_view key) override;
    std::string systemVersion() override;
    std::optional<std::string> hardwareModel() override;
    std::optional<std::string> processorName() override;

private:
    const RootDirectory& root_;
    const std::string version_;
};

}  // namespace zqm
