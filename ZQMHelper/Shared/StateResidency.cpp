#include <algorithm>
#include <cmath>

#include "ZQMHelper/Shared/FrequencyReader.h"

// The arithmetic of performance-state residencies, apart from where they are read.

namespace zqm {
namespace {

bool isIdle(std::string_view state) {
    return state.starts_with("DOWN") || state.starts_with("IDLE") || state.starts_with("OFF");
}

double activeResidency(const StateList& states) {
    double sum = 0;
    for (const auto& [name, residency] : states) {
        if (!isIdle(name)) sum += std::max(residency, 0.0);
    }
    return sum;
}

}  // namespace

double weighted(const StateList& states, const FrequencyLadder& ladder) {
    if (ladder.empty()) return 0;
    const auto active =
        std::find_if(states.begin(), states.end(), [](const auto& state) { return !isIdle(state.first); });
    double total = 0;
    double sum = 0;
    for (auto state = active; state != states.end(); ++state) {
        if (!(state->second > 0)) continue;
        const auto step = std::min(static_cast<std::size_t>(state - active), ladder.size() - 1);
        total += state->second;
        sum += state->second * ladder[step];
    }
    return total > 0 ? sum / total : 0;
}

double middle(const std::vector<StateList>& clusters, const FrequencyLadder& ladder) {
    double total = 0;
    double sum = 0;
    for (const StateList& states : clusters) {
        const double residency = activeResidency(states);
        total += residency;
        sum += residency * weighted(states, ladder);
    }
    return total > 0 ? sum / total : 0;
}

std::map<std::string, double> legacyCoreFrequencies(const std::map<std::string, double>& perCore,
                                                    const std::vector<std::string>& coreTypes) {
    std::map<std::string, double> rekeyed;
    std::map<std::string, int> counts;
    for (std::size_t index = 0; index < coreTypes.size(); ++index) {
        const std::string& type = coreTypes[index];
        if (type != "M" && type != "P") return perCore;
        const auto found = perCore.find(type + std::to_string(counts[type]++));
        if (found != perCore.end()) rekeyed["P" + std::to_string(index)] = found->second;
    }
    return rekeyed;
}

}  // namespace zqm
