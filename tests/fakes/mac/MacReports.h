#pragma once

#include "tests/fakes/mac/MacDouble.h"

namespace zqm {

/// The counter library as its functions are called.
struct MacReports : MacFunctions {
    static ReportChannels& channelsAt(CFTypeRef channels) {
        return seamOf<ReportChannels>(handleOf(channels), "channels");
    }
    static ReportSample& sampleAt(CFTypeRef sample) { return seamOf<ReportSample>(handleOf(sample), "sample"); }
    static ReportChannel& channelAt(CFTypeRef channel) { return seamOf<ReportChannel>(handleOf(channel), "channel"); }
    static CFTypeRef give(std::unique_ptr<ReportSample> created) {
        if (!created) return nullptr;
        MacObject sample{"sample", PropertyDictionary()};
        if (const auto channels = created->channels()) {
            MacObject list{"", PropertyArray()};
            for (const ReportChannel* channel : *channels) {
                const std::shared_ptr<void> unowned(const_cast<ReportChannel*>(channel), [](void*) {});
                list.parts.push_back(now->add({"channel", PropertyDictionary(), unowned}));
            }
            sample.parts = {now->make("IOReportChannels"), now->add(std::move(list))};
        }
        sample.of = shared(std::move(created));
        return add(std::move(sample));
    }

    static CFTypeRef IOReportCopyChannelsInGroup(CFTypeRef group, CFTypeRef subgroup, std::uint64_t, std::uint64_t,
                                                 std::uint64_t) {
        const auto inner = subgroup ? std::optional<std::string_view>(valueOf<std::string>(subgroup)) : std::nullopt;
        auto channels = now->reports->copyChannelsInGroup(valueOf<std::string>(group), inner);
        return channels ? add({"channels", PropertyDictionary(), shared(std::move(channels))}) : nullptr;
    }
    static void IOReportMergeChannels(CFTypeRef destination, CFTypeRef source, CFTypeRef) {
        require(at(destination, "channels").state == 1, "changed what may not be changed");
        now->reports->mergeChannels(channelsAt(destination), channelsAt(source));
    }
    static void* IOReportCreateSubscription(void*, CFTypeRef channels, CFTypeRef* subscribed, std::uint64_t,
                                            CFTypeRef) {
        require(at(channels, "channels").state == 1 && !*subscribed, "subscribed to what may not be changed");
        return now->reports->createSubscription(channelsAt(channels));
    }
    static CFTypeRef IOReportCreateSamples(void* subscription, CFTypeRef channels, CFTypeRef) {
        return give(now->reports->createSamples(*static_cast<ReportSubscription*>(subscription), channelsAt(channels)));
    }
    static CFTypeRef IOReportCreateSamplesDelta(CFTypeRef earlier, CFTypeRef later, CFTypeRef) {
        return give(now->reports->createSamplesDelta(sampleAt(earlier), sampleAt(later)));
    }
    static CFTypeRef IOReportChannelGetChannelName(CFTypeRef channel) {
        return lend(channel, now->reports->channelGetChannelName(channelAt(channel)));
    }
    static CFTypeRef IOReportChannelGetUnitLabel(CFTypeRef channel) {
        return lend(channel, now->reports->channelGetUnitLabel(channelAt(channel)));
    }
    static std::int32_t IOReportStateGetCount(CFTypeRef channel) {
        return now->fails("IOReportStateGetCount") ? 1 << 30 : now->reports->stateGetCount(channelAt(channel));
    }
    static CFTypeRef IOReportStateGetNameForIndex(CFTypeRef channel, std::int32_t index) {
        return lend(channel, now->reports->stateGetName(channelAt(channel), index));
    }
    static std::int64_t IOReportSimpleGetIntegerValue(CFTypeRef channel, std::int32_t) {
        return now->reports->simpleGetIntegerValue(channelAt(channel));
    }
    static std::int64_t IOReportStateGetResidency(CFTypeRef channel, std::int32_t index) {
        return now->reports->stateGetResidency(channelAt(channel), index);
    }
};

}  // namespace zqm
