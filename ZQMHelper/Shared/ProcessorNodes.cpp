#include "ZQMHelper/Shared/ProcessorNodes.h"

#include <algorithm>

#include "Support/Text.h"

namespace zqm {

std::optional<std::vector<std::unique_ptr<RegistryEntry>>> processorNodes(Registry& registry) {
    const auto services = registry.services("AppleARMPE");
    if (!services || services->empty()) return std::nullopt;
    auto children = services->front()->children();
    if (!children) return std::nullopt;
    std::vector<std::pair<std::int64_t, std::unique_ptr<RegistryEntry>>> numbered;
    for (auto& child : *children) {
        const std::string name = child->name().value_or("");
        if (!name.starts_with("cpu")) continue;
        if (const auto number = parseInteger(std::string_view(name).substr(3))) {
            numbered.emplace_back(*number, std::move(child));
        }
    }
    std::stable_sort(numbered.begin(), numbered.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
    std::vector<std::unique_ptr<RegistryEntry>> nodes;
    for (auto& entry : numbered) nodes.push_back(std::move(entry.second));
    return nodes;
}

}  // namespace zqm
