#include <algorithm>
#include <array>
#include <map>

#include "Platform/Process/Clock.h"
#include "ZQMHelper/Shared/DiagnosticsCollector.h"

// The sections of the report that the counter library fills.

namespace zqm {
namespace {

using enum ReportOperation;

constexpr Seconds residencyPause(0.12);
constexpr std::int32_t mostStates = 22;

using OptionalName = std::optional<std::string_view>;

std::string prefixOf(std::string_view group, OptionalName subgroup) {
    std::string prefix = "[";
    prefix += group;
    prefix += '/';
    prefix += subgroup.value_or("-");
    return prefix;
}

bool showsResidency(std::string_view channel) {
    static constexpr std::array<std::string_view, 7> shown{"ECPU",    "PCPU",    "ECPU0", "PCPU0",
                                                           "ECPU000", "PCPU000", "GPUPH"};
    return std::find(shown.begin(), shown.end(), channel) != shown.end();
}

/// "IDLE=12 V0P5=3 …"
std::string residencies(IOReportLoader& loader, const ReportChannel& channel, std::int32_t count) {
    ReportLibrary& library = *loader.library();
    std::string text;
    for (std::int32_t i = 0; i < std::min(count, mostStates); ++i) {
        const auto name = loader.has(stateGetName) ? library.stateGetName(channel, i) : std::nullopt;
        const std::int64_t residency = loader.has(stateGetResidency) ? library.stateGetResidency(channel, i) : 0;
        if (i > 0) text += ' ';
        text += name.value_or("?") + "=" + std::to_string(residency);
    }
    return text;
}

std::map<std::string, std::string> residenciesByChannel(IOReportLoader& loader, Clock& clock,
                                                        ReportSubscription& subscription, ReportChannels& channels) {
    std::map<std::string, std::string> byChannel;
    if (!loader.has(createSamplesDelta, channelGetChannelName, stateGetCount)) return byChannel;
    ReportLibrary& library = *loader.library();
    const auto first = library.createSamples(subscription, channels);
    if (!first) return byChannel;
    clock.sleep(residencyPause);
    const auto second = library.createSamples(subscription, channels);
    const auto delta = second ? library.createSamplesDelta(*first, *second) : nullptr;
    const auto list = delta ? delta->channels() : std::nullopt;
    if (!list) return byChannel;
    for (const ReportChannel* channel : *list) {
        const auto name = library.channelGetChannelName(*channel);
        if (!name || !showsResidency(*name)) continue;
        const std::int32_t count = library.stateGetCount(*channel);
        if (count >= 1) byChannel[*name] = residencies(loader, *channel, count);
    }
    return byChannel;
}

/// The lines of one group; `prefix` lacks its closing bracket.
std::vector<std::string> groupLines(IOReportLoader& loader, Clock& clock, std::string_view group,
                                    OptionalName subgroup) {
    const std::string prefix = prefixOf(group, subgroup);
    const auto copied =
        loader.has(copyChannelsInGroup) ? loader.library()->copyChannelsInGroup(group, subgroup) : nullptr;
    if (!copied) return {prefix + "] (unavailable)"};
    if (!loader.has(createSubscription, createSamples)) return {};
    ReportLibrary& library = *loader.library();
    const auto channels = copied->mutableCopy();
    if (!channels) return {};
    ReportSubscription* subscription = library.createSubscription(*channels);
    const auto sample = subscription ? library.createSamples(*subscription, *channels) : nullptr;
    const auto list = sample ? sample->channels() : std::nullopt;
    if (!list) return {prefix + "] (sample failed)"};
    const auto byChannel = residenciesByChannel(loader, clock, *subscription, *channels);
    std::vector<std::string> lines{prefix + "]"};
    for (const ReportChannel* channel : *list) {
        const auto name = loader.has(channelGetChannelName) ? library.channelGetChannelName(*channel) : std::nullopt;
        const auto unit = loader.has(channelGetUnitLabel) ? library.channelGetUnitLabel(*channel) : std::nullopt;
        std::string line = "  " + name.value_or("?") + " [" + unit.value_or("") + "]";
        const auto found = byChannel.find(name.value_or("?"));
        if (found != byChannel.end()) line += " residency: " + found->second;
        lines.push_back(std::move(line));
    }
    return lines;
}

}  // namespace

DiagnosticsCollector::Lines DiagnosticsCollector::ioreportChannels() {
    Lines lines;
    for (const auto& [group, subgroup] : std::initializer_list<std::pair<std::string_view, OptionalName>>{
             {"CPU Stats", "CPU Complex Performance States"},
             {"CPU Stats", "CPU Core Performance States"},
             {"GPU Stats", "GPU Performance States"},
             {"Energy Model", std::nullopt}}) {
        for (std::string& line : groupLines(loader_, platform_.clock, group, subgroup))
            lines.push_back(std::move(line));
    }
    return lines;
}

DiagnosticsCollector::Lines DiagnosticsCollector::ioreportAllSubgroups() {
    static constexpr std::array<std::string_view, 6> groups{"CPU Stats", "GPU Stats", "Energy Model",
                                                            "AMC Stats", "PMP",       "Power"};
    static constexpr std::array<std::string_view, 12> subgroups{"CPU Complex Performance States",
                                                                "CPU Core Performance States",
                                                                "GPU Performance States",
                                                                "GPU Duty Cycle",
                                                                "CPU Stats",
                                                                "GPU Stats",
                                                                "Performance States",
                                                                "Complex Performance States",
                                                                "Core Performance States",
                                                                "CPU Performance States",
                                                                "GPU Frequency",
                                                                "CPU Frequency"};
    Lines lines;
    const auto add = [&](std::string_view group, OptionalName subgroup, std::string_view label) {
        const auto channels = loader_.library()->copyChannelsInGroup(group, subgroup);
        if (!channels) return;
        lines.push_back(prefixOf(group, label) + "] " + std::to_string(channels->entryCount()) + " channels");
    };
    for (std::string_view group : groups) {
        if (!loader_.has(copyChannelsInGroup)) break;
        for (std::string_view subgroup : subgroups) add(group, subgroup, subgroup);
        add(group, std::nullopt, "ALL");
    }
    if (lines.empty()) return {"(no IOReport groups found)"};
    return lines;
}

}  // namespace zqm
