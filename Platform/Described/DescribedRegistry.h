#pragma once

#include "Platform/Apple/Registry.h"
#include "Platform/Described/MachineModel.h"

namespace zqm {

/// The "registry" section of a description. A class that it leaves out has no services. Callable from any thread.
class DescribedRegistry final : public Registry {
public:
    explicit DescribedRegistry(MachineModel& model) : model_(model) {}
    std::optional<std::vector<std::unique_ptr<RegistryEntry>>> services(std::string_view className) override;

private:
    MachineModel& model_;
};

}  // namespace zqm
