#include "ZQMHelper/Shared/FrequencyTopology.h"

#include <algorithm>

#include "Support/ByteOrder.h"
#include "Support/Text.h"
#include "ZQMHelper/Shared/CPUReader.h"

namespace zqm {
namespace {

constexpr std::size_t recordSize = 8;

FrequencyLadder tableLadder(const RegistryEntry& entry, int table) {
    return readLadder(entry, "voltage-states" + std::to_string(table) + "-sram");
}

/// The first cluster of each type decides, except that a later one fills a ladder that is still empty.
void assignCluster(FrequencyLadders& ladders, int type, FrequencyLadder ladder) {
    switch (type) {
        case 0:
            if (ladders.efficiency.empty()) ladders.efficiency = std::move(ladder);
            break;
        case 1:
            if (!ladders.middle) ladders.middle = std::move(ladder);
            break;
        case 2:
            if (ladders.performance.empty()) ladders.performance = std::move(ladder);
            break;
        default:
            break;
    }
}

}  // namespace

std::optional<std::string> utf8Text(const RegistryEntry& entry, std::string_view key) {
    const auto property = entry.property(key);
    const Bytes* bytes = property ? asBytes(&*property) : nullptr;
    if (!bytes) return std::nullopt;
    std::string text(bytes->begin(), bytes->end());
    return isValidUtf8(text) ? std::optional(std::move(text)) : std::nullopt;
}

std::unique_ptr<RegistryEntry> findPMGRService(Registry& registry) {
    auto services = registry.services("AppleARMIODevice");
    if (!services) return nullptr;
    for (auto& service : *services) {
        const auto name = utf8Text(*service, "name");
        if (name && trimControlCharacters(*name) == "pmgr") return std::move(service);
    }
    return nullptr;
}

FrequencyLadder readLadder(const RegistryEntry& entry, std::string_view key) {
    FrequencyLadder ladder;
    const auto property = entry.property(key);
    const Bytes* bytes = property ? asBytes(&*property) : nullptr;
    if (!bytes) return ladder;
    for (std::size_t offset = 0; offset + recordSize <= bytes->size(); offset += recordSize) {
        if (const auto frequency = littleEndian32(*bytes, offset); frequency != 0) ladder.push_back(frequency);
    }
    std::sort(ladder.begin(), ladder.end());
    constexpr double lowestTopInHz = 100e6;
    if (!ladder.empty() && ladder.back() < lowestTopInHz) {
        for (double& frequency : ladder) frequency *= 1000;
    }
    return ladder;
}

std::vector<std::pair<int, int>> readAccClusters(const RegistryEntry& entry) {
    std::vector<std::pair<int, int>> clusters;
    const auto property = entry.property("acc-clusters");
    const Bytes* bytes = property ? asBytes(&*property) : nullptr;
    if (!bytes) return clusters;
    for (std::size_t offset = 0; offset + recordSize <= bytes->size(); offset += recordSize) {
        clusters.emplace_back((*bytes)[offset], (*bytes)[offset + 1]);
    }
    return clusters;
}

FrequencyLadders readLadders(Registry& registry) {
    FrequencyLadders ladders;
    const auto pmgr = findPMGRService(registry);
    if (!pmgr) return ladders;
    ladders.gpu = tableLadder(*pmgr, 9);
    const auto clusters = readAccClusters(*pmgr);
    if (clusters.empty()) {
        ladders.efficiency = tableLadder(*pmgr, 1);
        ladders.performance = tableLadder(*pmgr, 5);
    }
    for (const auto& [table, type] : clusters) assignCluster(ladders, type, tableLadder(*pmgr, table));
    return ladders;
}

std::vector<std::string> readCoreTypes(Registry& registry) {
    std::vector<std::string> types;
    const auto nodes = processorNodes(registry);
    if (!nodes) return types;
    for (const auto& node : *nodes) types.push_back(utf8Text(*node, "cluster-type").value_or("?"));
    return types;
}

}  // namespace zqm
