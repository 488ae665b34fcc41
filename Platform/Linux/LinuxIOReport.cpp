#include "Platform/Linux/LinuxIOReport.h"

#include <algorithm>
#include <array>
#include <bitset>
#include <cmath>
#include <utility>

namespace zqm {
namespace {

constexpr std::int64_t wholeTime = std::int64_t{1} << 50;  // residency of a sample; fine enough for exact means

enum Group : std::size_t { clusterStates, coreStates, graphicsStates, energyModel, groupCount };
using Groups = std::bitset<groupCount>;

struct GroupName {
    std::string_view group;
    std::string_view subgroup;  // empty: the group has none
};
constexpr std::array<GroupName, groupCount> groupNames{{{"CPU Stats", "CPU Complex Performance States"},
                                                        {"CPU Stats", "CPU Core Performance States"},
                                                        {"GPU Stats", "GPU Performance States"},
                                                        {"Energy Model", ""}}};

/// How a sample's time is divided: between one step and the next, or idle.
struct Residency {
    std::size_t step = 0;
    std::int64_t below = 0;  // at the step
    std::int64_t above = 0;  // at the next one
};

/// Time at the two steps around the frequency, in the proportion that makes it their mean.
Residency divide(const ClockSteps& steps, double kilohertz) {
    if (!(kilohertz > 0) || steps.empty()) return {};
    const auto above = std::upper_bound(steps.begin(), steps.end(), kilohertz);
    if (above == steps.begin()) return {.step = 0, .below = wholeTime};
    if (above == steps.end()) return {.step = steps.size() - 1, .below = wholeTime};
    const double low = *(above - 1);
    const double share = (kilohertz - low) / (*above - low);
    const auto aboveTime = static_cast<std::int64_t>(std::llround(share * static_cast<double>(wholeTime)));
    return {.step = static_cast<std::size_t>(above - steps.begin() - 1),
            .below = wholeTime - aboveTime,
            .above = aboveTime};
}

/// The number with zeros in front, so that the order of texts is that of numbers.
std::string padded(std::size_t number, std::size_t digits) {
    std::string text = std::to_string(number);
    return text.size() < digits ? std::string(digits - text.size(), '0') + text : text;
}

}  // namespace

struct LinuxIOReport::Channel final : ReportChannel {
    std::string name;
    const char* unit = "";
    std::int64_t value = 0;
    std::size_t steps = 0;
    Residency residency;
};

class LinuxIOReport::Channels final : public ReportChannels {
public:
    explicit Channels(Groups held) : groups(held) {}
    std::size_t entryCount() const override { return groups.count(); }
    std::unique_ptr<ReportChannels> mutableCopy() const override { return std::make_unique<Channels>(*this); }

    Groups groups;
};

class LinuxIOReport::Sample final : public ReportSample {
public:
    explicit Sample(Groups held) : groups(held) {}
    std::optional<std::vector<const ReportChannel*>> channels() const override {
        std::vector<const ReportChannel*> list;
        list.reserve(all.size());
        for (const Channel& channel : all) list.push_back(&channel);
        return list;
    }
    void addStates(std::string name, std::size_t steps, Residency residency) {
        Channel channel;
        channel.name = std::move(name);
        channel.steps = steps;
        channel.residency = residency;
        all.push_back(std::move(channel));
    }
    void addEnergy(std::string name, std::uint64_t microjoules) {
        Channel channel;
        channel.name = std::move(name);
        channel.unit = "uJ";
        channel.value = static_cast<std::int64_t>(microjoules);
        all.push_back(std::move(channel));
    }

    Groups groups;
    std::vector<Channel> all;
};

std::unique_ptr<ReportChannels> LinuxIOReport::copyChannelsInGroup(std::string_view group,
                                                                   std::optional<std::string_view> subgroup) {
    Groups groups;
    for (std::size_t i = 0; i < groupCount; ++i) {
        groups[i] = groupNames[i].group == group && (!subgroup || groupNames[i].subgroup == *subgroup);
    }
    // Without a clock to show, nobody needs to wait for residencies. The energy group stands even when it is empty:
    // with it readers go on to the power of the whole machine, which has other sources.
    using enum ProcessorKind;
    const auto isKnown = [this](ProcessorKind kind) { return !processors_.steps(kind).empty(); };
    const bool hasGraphics = !cards_.steps().empty();
    if (!hasGraphics) groups[graphicsStates] = false;
    // Readers ask for the cards' clocks only together with the processors'.
    if (!isKnown(performance) && !isKnown(efficiency) && !hasGraphics)
        groups[clusterStates] = groups[coreStates] = false;
    return groups.any() ? std::make_unique<Channels>(groups) : nullptr;
}

void LinuxIOReport::mergeChannels(ReportChannels& destination, const ReportChannels& source) {
    static_cast<Channels&>(destination).groups |= static_cast<const Channels&>(source).groups;
}

ReportSubscription* LinuxIOReport::createSubscription(ReportChannels&) {
    return &subscription_;
}

std::unique_ptr<ReportSample> LinuxIOReport::createSamples(ReportSubscription&, ReportChannels& channels) {
    const Groups groups = static_cast<const Channels&>(channels).groups;
    auto sample = std::make_unique<Sample>(groups);
    addProcessors(*sample, groups[clusterStates], groups[coreStates], false);
    if (groups[graphicsStates]) addGraphics(*sample, false);
    if (groups[energyModel]) addEnergy(*sample);
    return sample;
}

std::unique_ptr<ReportSample> LinuxIOReport::createSamplesDelta(const ReportSample& earlier,
                                                                const ReportSample& later) {
    const auto& before = static_cast<const Sample&>(earlier);
    const auto& after = static_cast<const Sample&>(later);
    auto delta = std::make_unique<Sample>(after.groups);
    addProcessors(*delta, after.groups[clusterStates], after.groups[coreStates], true);
    if (after.groups[graphicsStates]) addGraphics(*delta, true);
    for (const Channel& channel : after.all) {
        if (channel.steps > 0) continue;
        const auto old = std::find_if(before.all.begin(), before.all.end(),
                                      [&](const Channel& each) { return each.name == channel.name; });
        const std::int64_t since = old == before.all.end() ? channel.value : old->value;
        delta->addEnergy(channel.name, static_cast<std::uint64_t>(channel.value - since));
    }
    return delta;
}

void LinuxIOReport::addEnergy(Sample& sample) {
    for (const PackageEnergy& package : energy_.read()) {
        sample.addEnergy(package.name + " CPU Energy", package.processor);
        if (package.gpu) sample.addEnergy(package.name + " GPU Energy", *package.gpu);
        if (package.memory) sample.addEnergy("DRAM " + package.name, *package.memory);
    }
}

/// The processors of one kind while a sample is made.
struct LinuxIOReport::Kind {
    ProcessorKind kind;
    std::string name;
    ClockSteps steps;
    double sum = 0;  // kHz, over the processors that run
    int running = 0;
    std::size_t count = 0;
};

void LinuxIOReport::addProcessors(Sample& sample, bool clusters, bool cores, bool withResidencies) {
    if (!clusters && !cores) return;
    std::array<Kind, 3> kinds{{{ProcessorKind::efficiency, "ECPU", {}},
                               {ProcessorKind::performance, "PCPU", {}},
                               {ProcessorKind::middle, "MCPU", {}}}};
    for (Kind& kind : kinds) kind.steps = processors_.steps(kind.kind);
    const auto frequencies = withResidencies || cores ? processors_.read() : std::vector<ProcessorFrequency>{};
    if (cores) sample.all.reserve(frequencies.size() + kinds.size() + 1);
    const std::size_t digits = std::to_string(frequencies.size()).size();
    for (const ProcessorFrequency& processor : frequencies) {
        Kind& kind =
            *std::find_if(kinds.begin(), kinds.end(), [&](const Kind& each) { return each.kind == processor.kind; });
        if (cores) {
            sample.addStates(kind.name + padded(kind.count, digits), kind.steps.size() + 1,
                             withResidencies ? divide(kind.steps, processor.kilohertz) : Residency{});
        }
        ++kind.count;
        if (processor.kilohertz > 0) {
            kind.sum += processor.kilohertz;
            ++kind.running;
        }
    }
    for (const Kind& kind : kinds) {
        if (!clusters || kind.steps.empty()) continue;
        sample.addStates(
            kind.name, kind.steps.size() + 1,
            withResidencies && kind.running > 0 ? divide(kind.steps, kind.sum / kind.running) : Residency{});
    }
}

void LinuxIOReport::addGraphics(Sample& sample, bool withResidencies) {
    const ClockSteps steps = cards_.steps();
    if (steps.empty()) return;
    double megahertz = 0;
    if (withResidencies) {
        for (const GraphicsReading& card : cards_.read()) megahertz = std::max(megahertz, card.megahertz.value_or(0));
    }
    sample.addStates("GPUPH", steps.size() + 1, divide(steps, megahertz * 1000));
}

std::optional<std::string> LinuxIOReport::channelGetChannelName(const ReportChannel& channel) {
    return static_cast<const Channel&>(channel).name;
}

std::optional<std::string> LinuxIOReport::channelGetUnitLabel(const ReportChannel& channel) {
    return static_cast<const Channel&>(channel).unit;
}

std::int32_t LinuxIOReport::stateGetCount(const ReportChannel& channel) {
    return static_cast<std::int32_t>(static_cast<const Channel&>(channel).steps);
}

std::optional<std::string> LinuxIOReport::stateGetName(const ReportChannel& channel, std::int32_t index) {
    if (index < 0 || index >= stateGetCount(channel)) return std::nullopt;
    return index == 0 ? "IDLE" : "P" + std::to_string(index);
}

std::int64_t LinuxIOReport::simpleGetIntegerValue(const ReportChannel& channel) {
    return static_cast<const Channel&>(channel).value;
}

std::int64_t LinuxIOReport::stateGetResidency(const ReportChannel& channel, std::int32_t index) {
    const Residency& residency = static_cast<const Channel&>(channel).residency;
    const auto state = static_cast<std::size_t>(index);
    if (state == 0) return wholeTime - residency.below - residency.above;
    if (state == residency.step + 1) return residency.below;
    return state == residency.step + 2 ? residency.above : 0;
}

}  // namespace zqm
