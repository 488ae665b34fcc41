#include "ZQMHelper/Shared/FrequencyReader.h"

#include <algorithm>
#include <array>
#include <cctype>

#include "Platform/Machine/MachineReadings.h"
#include "Platform/Process/Clock.h"
#include "Platform/Process/Log.h"
#include "Platform/Process/SystemSettings.h"

namespace zqm {
namespace {

using enum ReportOperation;

constexpr Seconds interval(0.1);
constexpr double hertzPerMegahertz = 1e6;

double top(const FrequencyLadder& ladder) {
    return ladder.empty() ? 0 : ladder.back() / hertzPerMegahertz;
}

bool contains(const std::vector<std::string>& types, std::string_view type) {
    return std::find(types.begin(), types.end(), type) != types.end();
}

/// "MCPU" and digits, possibly none.
bool isMiddleCluster(std::string_view name) {
    return name.starts_with("MCPU") &&
           std::all_of(name.begin() + 4, name.end(), [](unsigned char c) { return std::isdigit(c) != 0; });
}

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

FrequencyReader::FrequencyReader(Platform& platform)
    : platform_(platform),
      loader_(platform),
      dumpChannels_(platform.systemSettings.environment("ZQM_DUMP_IOREPORT_CHANNELS") == "1"),
      physicalCoreTypes_(readCoreTypes(platform.registry)),
      ladders_(readLadders(platform.registry)),
      middleForEfficiency_(contains(physicalCoreTypes_, "M") && !contains(physicalCoreTypes_, "E")),
      clusters_(makeSubscription("CPU Stats", {"CPU Complex Performance States"},
                                 std::pair("GPU Stats", "GPU Performance States"))),
      cores_(makeSubscription("CPU Stats", {"CPU Core Performance States"}, std::nullopt)) {}

FrequencyReader::Result FrequencyReader::sample() {
    return platform_.readings ? sampleClocks() : sampleResidencies();
}

/// Per kind the mean of the processors that run, those in the middle belonging to the large ones. What a clock reaches
/// may lie above what its driver tells.
FrequencyReader::Result FrequencyReader::sampleClocks() {
    constexpr auto performance = static_cast<std::size_t>(ProcessorKind::performance);
    constexpr auto efficiency = static_cast<std::size_t>(ProcessorKind::efficiency);
    Result result;
    std::array<double, 3> sums{};
    std::array<int, 3> running{};
    std::array<std::size_t, 3> counts{};
    const auto clocks = platform_.readings->clocks();
    for (const ProcessorClock& clock : clocks) {
        const auto kind = static_cast<std::size_t>(clock.kind);
        const std::size_t place = counts[kind]++;
        if (place == coresByKind_[kind].size()) {
            coresByKind_[kind].push_back(&perCoreMHz_["PME"[kind] + std::to_string(place)]);
        }
        if (clock.megahertz > 0) *coresByKind_[kind][place] = clock.megahertz;
        const std::size_t cluster = clock.kind == ProcessorKind::efficiency ? efficiency : performance;
        mostMegahertz_[cluster] = std::max({mostMegahertz_[cluster], clock.megahertz, clock.mostMegahertz});
        if (!(clock.megahertz > 0)) continue;
        sums[cluster] += clock.megahertz;
        ++running[cluster];
    }
    const auto mean = [&](std::size_t kind) { return running[kind] > 0 ? sums[kind] / running[kind] : 0; };
    if (!clocks.empty()) result.perCoreMHz = perCoreMHz_;
    result.efficiencyMHz = efficiency_.update(mean(efficiency));
    result.performanceMHz = performance_.update(mean(performance));
    result.efficiencyMaxMHz = mostMegahertz_[efficiency];
    result.performanceMaxMHz = mostMegahertz_[performance];
    return result;
}

FrequencyReader::Result FrequencyReader::sampleResidencies() {
    Result result;
    result.efficiencyMaxMHz =
        middleForEfficiency_ ? top(ladders_.middle.value_or(FrequencyLadder{})) : top(ladders_.efficiency);
    result.performanceMaxMHz = top(ladders_.performance);
    result.gpuMaxMHz = top(ladders_.gpu);
    if (const auto hertz = sampleCluster()) {
        const double efficiency = middleForEfficiency_ ? hertz->middle : hertz->efficiency;
        result.efficiencyMHz = efficiency_.update(efficiency / hertzPerMegahertz);
        result.performanceMHz = performance_.update(hertz->performance / hertzPerMegahertz);
        result.gpuMHz = gpu_.update(hertz->gpu / hertzPerMegahertz);
    }
    result.perCoreMHz = samplePerCore();
    return result;
}

FrequencyReader::Subscription FrequencyReader::makeSubscription(
    std::string_view group, const std::vector<std::string_view>& subgroups,
    std::optional<std::pair<std::string_view, std::string_view>> extra) {
    if (!loader_.has(copyChannelsInGroup, mergeChannels, createSubscription)) return {};
    ReportLibrary& library = *loader_.library();
    Subscription subscription;
    for (std::string_view subgroup : subgroups) {
        const auto copied = library.copyChannelsInGroup(group, subgroup);
        if (!copied) continue;
        if (subscription.channels) {
            library.mergeChannels(*subscription.channels, *copied);
        } else {
            subscription.channels = copied->mutableCopy();
        }
    }
    if (!subscription.channels) return {};
    if (extra) {
        if (const auto copied = library.copyChannelsInGroup(extra->first, extra->second)) {
            library.mergeChannels(*subscription.channels, *copied);
        }
    }
    subscription.handle = library.createSubscription(*subscription.channels);
    return subscription;
}

std::optional<FrequencyReader::StatesByChannel> FrequencyReader::sampleStates(Subscription& subscription) {
    if (!loader_.has(createSamples, createSamplesDelta)) return std::nullopt;
    ReportLibrary& library = *loader_.library();
    const auto first = library.createSamples(*subscription.handle, *subscription.channels);
    if (!first) return std::nullopt;
    if (dumpChannels_ && !std::exchange(didDump_, true)) dumpChannels(*first);
    platform_.clock.sleep(interval);
    const auto second = library.createSamples(*subscription.handle, *subscription.channels);
    const auto delta = second ? library.createSamplesDelta(*first, *second) : nullptr;
    const auto channels = delta ? delta->channels() : std::nullopt;
    if (!channels) return std::nullopt;
    StatesByChannel byChannel;
    for (const ReportChannel* channel : *channels) {
        auto name = loader_.has(channelGetChannelName) ? library.channelGetChannelName(*channel) : std::nullopt;
        if (!name || !loader_.has(stateGetCount) || library.stateGetCount(*channel) < 1) continue;
        // Libraries list channels more or less in the order of their names.
        byChannel.insert_or_assign(byChannel.end(), std::move(*name), states(*channel));
    }
    return byChannel;
}

StateList FrequencyReader::states(const ReportChannel& channel) {
    StateList list;
    if (!loader_.has(stateGetName, stateGetResidency)) return list;
    ReportLibrary& library = *loader_.library();
    const std::int32_t count = library.stateGetCount(channel);
    list.reserve(static_cast<std::size_t>(std::clamp(count, 0, 64)));
    for (std::int32_t i = 0; i < count; ++i) {
        if (auto name = library.stateGetName(channel, i)) {
            list.emplace_back(std::move(*name), static_cast<double>(library.stateGetResidency(channel, i)));
        }
    }
    return list;
}

std::optional<FrequencyReader::ClusterFrequencies> FrequencyReader::sampleCluster() {
    if (!loader_.isAvailable() || !clusters_.handle) return std::nullopt;
    auto byChannel = sampleStates(clusters_);
    if (!byChannel) return std::nullopt;
    std::vector<StateList> middleClusters;
    for (const auto& [name, list] : *byChannel) {
        if (isMiddleCluster(name)) middleClusters.push_back(list);
    }
    return ClusterFrequencies{.efficiency = weighted((*byChannel)["ECPU"], ladders_.efficiency),
                              .performance = weighted((*byChannel)["PCPU"], ladders_.performance),
                              .middle = middle(middleClusters, middleLadder()),
                              .gpu = weighted((*byChannel)["GPUPH"], ladders_.gpu)};
}

std::map<std::string, double> FrequencyReader::samplePerCore() {
    std::map<std::string, double> perCore;
    if (!loader_.isAvailable() || !cores_.handle) return perCore;
    const auto byChannel = sampleStates(cores_);
    if (!byChannel) return perCore;
    struct Kind {
        std::string_view prefix;
        const FrequencyLadder& ladder;
    };
    for (const auto& [prefix, ladder] :
         {Kind{"ECPU", ladders_.efficiency}, {"PCPU", ladders_.performance}, {"MCPU", middleLadder()}}) {
        std::size_t position = 0;  // within the kind, in the text order of the names, which is the map's order
        for (auto it = byChannel->lower_bound(std::string(prefix));
             it != byChannel->end() && it->first.starts_with(prefix); ++it, ++position) {
            const std::string key = prefix.front() + std::to_string(position);
            perCore.emplace(key, lastOfCore_[key].update(weighted(it->second, ladder) / hertzPerMegahertz));
        }
    }
    return middleForEfficiency_ ? legacyCoreFrequencies(perCore, physicalCoreTypes_) : perCore;
}

void FrequencyReader::dumpChannels(const ReportSample& sample) {
    const auto channels = sample.channels();
    if (!channels) return;
    platform_.log.print("==== IOReport channels ====");
    for (const ReportChannel* channel : *channels) {
        const auto name =
            loader_.has(channelGetChannelName) ? loader_.library()->channelGetChannelName(*channel) : std::nullopt;
        platform_.log.print("  " + name.value_or("?"));
    }
}

}  // namespace zqm
