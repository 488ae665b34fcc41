#include "Platform/Described/DescribedIOReport.h"

#include <algorithm>
#include <array>
#include <nlohmann/json.hpp>

#include "Platform/Described/Reading.h"

namespace zqm {
namespace {

constexpr std::array<std::string_view, 11> operationNames{
    "copyChannelsInGroup", "mergeChannels",         "createSubscription",  "createSamples",
    "createSamplesDelta",  "channelGetChannelName", "channelGetUnitLabel", "stateGetCount",
    "stateGetName",        "simpleGetIntegerValue", "stateGetResidency"};

/// What a list of channels holds: pointers into the description.
using ChannelNodes = std::vector<const Json*>;

struct DescribedChannels final : ReportChannels {
    DescribedChannels(MachineModel& ofModel, ChannelNodes listed)
        : model(ofModel), nodes(std::move(listed)), handle(ofModel) {}

    std::size_t entryCount() const override { return 1; }  // the array of channels
    std::unique_ptr<ReportChannels> mutableCopy() const override {
        return std::make_unique<DescribedChannels>(model, nodes);
    }

    MachineModel& model;
    ChannelNodes nodes;
    CountedHandle handle;
};

struct DescribedSubscription final : ReportSubscription {};

struct DescribedChannel final : ReportChannel {
    const Json* node = nullptr;
    std::int64_t value = 0;
    std::vector<std::int64_t> residencies;
};

/// Counters may wrap, so their difference does too.
std::int64_t difference(std::int64_t earlier, std::int64_t later) {
    return static_cast<std::int64_t>(static_cast<std::uint64_t>(later) - static_cast<std::uint64_t>(earlier));
}

struct DescribedSample final : ReportSample {
    DescribedSample(MachineModel& model, bool withChannels) : hasChannels(withChannels), handle(model) {}

    std::optional<std::vector<const ReportChannel*>> channels() const override {
        if (!hasChannels) return std::nullopt;
        std::vector<const ReportChannel*> pointers;
        for (const DescribedChannel& channel : list) pointers.push_back(&channel);
        return pointers;
    }

    bool hasChannels;
    std::vector<DescribedChannel> list;
    CountedHandle handle;
};

DescribedChannel readChannel(Reading& reading, const Json& node) {
    DescribedChannel channel;
    channel.node = &node;
    channel.value = reading.integer(memberOf(&node, "value")).value_or(0);
    if (!node.contains("states")) return channel;
    for (const Json& state : node["states"]) {
        channel.residencies.push_back(reading.integer(&state["residency"]).value_or(0));
    }
    return channel;
}

const DescribedChannel& described(const ReportChannel& channel) {
    return static_cast<const DescribedChannel&>(channel);
}

class DescribedLibrary final : public ReportLibrary {
public:
    DescribedLibrary(MachineModel& model, const Json& description) : model_(model), description_(description) {}

    bool has(ReportOperation operation) const override {
        const Json* missing = memberOf(&description_, "missingOperations");
        const auto name = operationNames[static_cast<std::size_t>(operation)];
        return !missing || std::find(missing->begin(), missing->end(), name) == missing->end();
    }

    std::unique_ptr<ReportChannels> copyChannelsInGroup(std::string_view group,
                                                        std::optional<std::string_view> subgroup) override {
        Reading reading(model_);
        ChannelNodes nodes;
        bool isThere = false;
        for (const Json& candidate : description_["groups"]) {
            if (candidate["group"] != group || (subgroup && candidate["subgroup"] != *subgroup)) continue;
            const Json* channels = reading.value(&candidate["channels"]);
            isThere |= channels != nullptr;
            for (std::size_t i = 0; channels && i < channels->size(); ++i) nodes.push_back(&(*channels)[i]);
        }
        return isThere ? std::make_unique<DescribedChannels>(model_, std::move(nodes)) : nullptr;
    }
    void mergeChannels(ReportChannels& destination, const ReportChannels& source) override {
        auto& nodes = static_cast<DescribedChannels&>(destination).nodes;
        const auto& added = static_cast<const DescribedChannels&>(source).nodes;
        nodes.insert(nodes.end(), added.begin(), added.end());
    }
    ReportSubscription* createSubscription(ReportChannels&) override {
        return nextFlag("subscriptions").value_or(false) ? &subscription_ : nullptr;
    }
    std::unique_ptr<ReportSample> createSamples(ReportSubscription&, ReportChannels& channels) override {
        const auto hasChannels = nextFlag("samples");
        if (!hasChannels) return nullptr;
        auto sample = std::make_unique<DescribedSample>(model_, *hasChannels);
        Reading reading(model_);
        for (const Json* node : static_cast<DescribedChannels&>(channels).nodes) {
            sample->list.push_back(readChannel(reading, *node));
        }
        return sample;
    }
    std::unique_ptr<ReportSample> createSamplesDelta(const ReportSample& earlier, const ReportSample& later) override {
        const auto hasChannels = nextFlag("deltas");
        if (!hasChannels) return nullptr;
        auto delta = std::make_unique<DescribedSample>(model_, *hasChannels);
        delta->list = static_cast<const DescribedSample&>(later).list;
        const auto& from = static_cast<const DescribedSample&>(earlier).list;
        for (std::size_t i = 0; i < delta->list.size(); ++i) {
            DescribedChannel& channel = delta->list[i];
            channel.value = difference(from[i].value, channel.value);
            for (std::size_t state = 0; state < channel.residencies.size(); ++state) {
                channel.residencies[state] = difference(from[i].residencies[state], channel.residencies[state]);
            }
        }
        return delta;
    }

    std::optional<std::string> channelGetChannelName(const ReportChannel& channel) override {
        return Reading(model_).text(memberOf(described(channel).node, "name"));
    }
    std::optional<std::string> channelGetUnitLabel(const ReportChannel& channel) override {
        return Reading(model_).text(memberOf(described(channel).node, "unit"));
    }
    std::int32_t stateGetCount(const ReportChannel& channel) override {
        return static_cast<std::int32_t>(described(channel).residencies.size());
    }
    std::optional<std::string> stateGetName(const ReportChannel& channel, std::int32_t index) override {
        const Json& states = (*described(channel).node)["states"];
        return Reading(model_).text(&states[static_cast<std::size_t>(index)]["name"]);
    }
    std::int64_t simpleGetIntegerValue(const ReportChannel& channel) override { return described(channel).value; }
    std::int64_t stateGetResidency(const ReportChannel& channel, std::int32_t index) override {
        return described(channel).residencies[static_cast<std::size_t>(index)];
    }

private:
    /// How the call that this member is about goes: true when it is not described.
    std::optional<bool> nextFlag(std::string_view key) const {
        const Json* node = memberOf(&description_, key);
        if (!node) return true;
        const Json* flag = Reading(model_).value(node);
        return flag ? std::optional(flag->get<bool>()) : std::nullopt;
    }

    MachineModel& model_;
    const Json& description_;
    DescribedSubscription subscription_;
};

}  // namespace

bool isReportOperation(std::string_view name) {
    return std::find(operationNames.begin(), operationNames.end(), name) != operationNames.end();
}

DescribedIOReport::DescribedIOReport(MachineModel& model) : description_(memberOf(&model.description, "ioReport")) {
    if (description_) library_ = std::make_unique<DescribedLibrary>(model, *description_);
}
DescribedIOReport::~DescribedIOReport() = default;

ReportLibrary* DescribedIOReport::open(std::string_view path) {
    const Json* paths = memberOf(description_, "paths");
    return paths && std::find(paths->begin(), paths->end(), path) != paths->end() ? library_.get() : nullptr;
}

}  // namespace zqm
