#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Platform/Apple/Registry.h"

namespace zqm {

/// The frequencies of a clock domain's performance states in Hz, ascending, without zeros; empty: unknown. Entry i is
/// the frequency of the domain's i-th active state.
using FrequencyLadder = std::vector<double>;

/// The ladders of the machine's clock domains, from the power manager's registry node.
struct FrequencyLadders {
    FrequencyLadder efficiency;
    FrequencyLadder performance;
    std::optional<FrequencyLadder> middle;  // absent: the machine declares no cluster of the third kind
    FrequencyLadder gpu;
};

/// A property's bytes as text, taken whole; nullopt when it is missing, not bytes or not UTF-8.
std::optional<std::string> utf8Text(const RegistryEntry& entry, std::string_view key);

/// The device whose "name" is "pmgr"; null when there is none (Intel machines).
std::unique_ptr<RegistryEntry> findPMGRService(Registry& registry);

/// The ladder of a voltage-state table: 8-byte records, the first four bytes a frequency in Hz, or in kHz when the
/// table's largest is below 100 MHz as Hz.
FrequencyLadder readLadder(const RegistryEntry& entry, std::string_view key);

/// Number of the voltage-state table and type (0 E, 1 M, 2 P) of each cluster, in the property's order.
std::vector<std::pair<int, int>> readAccClusters(const RegistryEntry& entry);

FrequencyLadders readLadders(Registry& registry);

/// The cluster-type text of each physical core by its number ("E", "P", "M"; "?" when it cannot be read).
std::vector<std::string> readCoreTypes(Registry& registry);

}  // namespace zqm
