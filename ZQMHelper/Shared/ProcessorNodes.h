#pragma once

#include <memory>
#include <optional>
#include <vector>

#include "Platform/Apple/Registry.h"

namespace zqm {

/// The machine's processor nodes, the children "cpuN" of its first "AppleARMPE" service, by ascending number N (equal
/// numbers in the registry's order); nullopt when there is no such service or it has no list of children.
std::optional<std::vector<std::unique_ptr<RegistryEntry>>> processorNodes(Registry& registry);

}  // namespace zqm
