#include "Platform/Mac/MacIOReport.h"

#include <algorithm>
#include <deque>

#include "Platform/Mac/Libraries/IOReportCalls.h"
#include "Platform/Mac/ReportedChannel.h"

namespace zqm {
namespace {

constexpr std::int32_t mostStates = 1024;  // beyond that a count is taken for damage

struct MacChannels final : ReportChannels {
    MacChannels(const CoreFoundation& calls, CFOwned dictionary) : core(calls), object(std::move(dictionary)) {}

    std::size_t entryCount() const override {
        return static_cast<std::size_t>(std::max(core.CFDictionaryGetCount(object.get()), CFIndex{0}));
    }
    std::unique_ptr<ReportChannels> mutableCopy() const override {
        CFOwned copy = own(core, core.CFDictionaryCreateMutableCopy(nullptr, 0, object.get()));
        return copy ? std::make_unique<MacChannels>(core, std::move(copy)) : nullptr;
    }

    const CoreFoundation& core;
    CFOwned object;
};

struct MacSubscription final : ReportSubscription {
    explicit MacSubscription(void* subscription) : object(subscription) {}
    void* object;
};

CFTypeRef objectOf(const ReportChannels& channels) {
    return static_cast<const MacChannels&>(channels).object.get();
}

const ReportedChannel& reported(const ReportChannel& channel) {
    return static_cast<const ReportedChannel&>(channel);
}

class MacSample final : public ReportSample {
public:
    MacSample(const CoreFoundation& core, const IOReportCalls& calls, CFOwned dictionary)
        : core_(core), calls_(calls), object_(std::move(dictionary)) {}
    CFTypeRef object() const { return object_.get(); }

    std::optional<std::vector<const ReportChannel*>> channels() const override {
        if (list_.empty() && !list()) return std::nullopt;
        std::vector<const ReportChannel*> pointers;
        pointers.reserve(list_.size());
        for (const ReportedChannel& channel : list_) pointers.push_back(&channel);
        return pointers;
    }

private:
    /// Most samples are merely subtracted and never looked into.
    bool list() const {
        const auto elements = elementsOf(core_, memberOf(core_, object_.get(), "IOReportChannels"));
        if (!elements) return false;
        for (CFTypeRef element : *elements) {
            if (!isDictionary(core_, element)) return list_.clear(), false;
            auto name = calls_.IOReportChannelGetChannelName
                            ? textOf(core_, calls_.IOReportChannelGetChannelName(element))
                            : std::nullopt;
            list_.emplace_back(std::move(name), element);
        }
        appendChannelsOfDies(list_);
        return true;
    }

    const CoreFoundation& core_;
    const IOReportCalls& calls_;
    CFOwned object_;
    mutable std::vector<ReportedChannel> list_;
};

class MacLibrary final : public ReportLibrary {
public:
    MacLibrary(const CoreFoundation& core, DynamicLibraries& libraries, const char* path)
        : core_(core), calls_(libraries, path) {}

    bool has(ReportOperation operation) const override;

    std::unique_ptr<ReportChannels> copyChannelsInGroup(std::string_view group,
                                                        std::optional<std::string_view> subgroup) override {
        const CFOwned groupText = makeText(core_, group);
        const CFOwned subgroupText = subgroup ? makeText(core_, *subgroup) : own(core_, nullptr);
        if (!groupText || (subgroup && !subgroupText)) return nullptr;
        CFOwned copied = own(core_, calls_.IOReportCopyChannelsInGroup(groupText.get(), subgroupText.get(), 0, 0, 0));
        if (!isDictionary(core_, copied.get())) return nullptr;
        return std::make_unique<MacChannels>(core_, std::move(copied));
    }
    void mergeChannels(ReportChannels& destination, const ReportChannels& source) override {
        calls_.IOReportMergeChannels(objectOf(destination), objectOf(source), nullptr);
    }
    ReportSubscription* createSubscription(ReportChannels& channels) override {
        CFTypeRef subscribed = nullptr;
        void* object = calls_.IOReportCreateSubscription(nullptr, objectOf(channels), &subscribed, 0, nullptr);
        if (!object) return nullptr;
        const MutexLock lock(mutex_);
        return &subscriptions_.emplace_back(object);
    }
    std::unique_ptr<ReportSample> createSamples(ReportSubscription& subscription, ReportChannels& channels) override {
        return sampleOf(calls_.IOReportCreateSamples(static_cast<MacSubscription&>(subscription).object,
                                                     objectOf(channels), nullptr));
    }
    std::unique_ptr<ReportSample> createSamplesDelta(const ReportSample& earlier, const ReportSample& later) override {
        return sampleOf(calls_.IOReportCreateSamplesDelta(static_cast<const MacSample&>(earlier).object(),
                                                          static_cast<const MacSample&>(later).object(), nullptr));
    }

    std::optional<std::string> channelGetChannelName(const ReportChannel& channel) override {
        return reported(channel).name;
    }
    std::optional<std::string> channelGetUnitLabel(const ReportChannel& channel) override {
        return textOf(core_, calls_.IOReportChannelGetUnitLabel(reported(channel).object));
    }
    std::int32_t stateGetCount(const ReportChannel& channel) override {
        const std::int32_t count = calls_.IOReportStateGetCount(reported(channel).object);
        return count <= mostStates ? count : 0;
    }
    std::optional<std::string> stateGetName(const ReportChannel& channel, std::int32_t index) override {
        return textOf(core_, calls_.IOReportStateGetNameForIndex(reported(channel).object, index));
    }
    std::int64_t simpleGetIntegerValue(const ReportChannel& channel) override {
        return sum(channel, [&](CFTypeRef object) { return calls_.IOReportSimpleGetIntegerValue(object, 0); });
    }
    std::int64_t stateGetResidency(const ReportChannel& channel, std::int32_t index) override {
        return sum(channel, [&](CFTypeRef object) { return calls_.IOReportStateGetResidency(object, index); });
    }

private:
    std::unique_ptr<ReportSample> sampleOf(CFTypeRef created) {
        CFOwned owned = own(core_, created);
        return owned ? std::make_unique<MacSample>(core_, calls_, std::move(owned)) : nullptr;
    }
    /// Of a channel's counters, which may wrap.
    template <class Counter>
    static std::int64_t sum(const ReportChannel& channel, Counter counter) {
        auto total = static_cast<std::uint64_t>(counter(reported(channel).object));
        for (CFTypeRef other : reported(channel).others) total += static_cast<std::uint64_t>(counter(other));
        return static_cast<std::int64_t>(total);
    }

    const CoreFoundation& core_;
    const IOReportCalls calls_;
    Mutex mutex_;
    std::deque<MacSubscription> subscriptions_ ZQM_GUARDED_BY(mutex_);  // for ever, as the library keeps its own
};

bool MacLibrary::has(ReportOperation operation) const {
    switch (operation) {
        using enum ReportOperation;
        case copyChannelsInGroup:
            return calls_.IOReportCopyChannelsInGroup;
        case mergeChannels:
            return calls_.IOReportMergeChannels;
        case createSubscription:
            return calls_.IOReportCreateSubscription;
        case createSamples:
            return calls_.IOReportCreateSamples;
        case createSamplesDelta:
            return calls_.IOReportCreateSamplesDelta;
        case channelGetChannelName:
            return calls_.IOReportChannelGetChannelName;
        case channelGetUnitLabel:
            return calls_.IOReportChannelGetUnitLabel;
        case stateGetCount:
            return calls_.IOReportStateGetCount;
        case stateGetName:
            return calls_.IOReportStateGetNameForIndex;
        case simpleGetIntegerValue:
            return calls_.IOReportSimpleGetIntegerValue;
        case stateGetResidency:
            return calls_.IOReportStateGetResidency;
    }
    return false;
}

}  // namespace

ReportLibrary* MacIOReport::open(std::string_view path) {
    if (!core_.isWhole()) return nullptr;
    const std::string file(path);
    const MutexLock lock(mutex_);
    auto& library = opened_[file];
    if (!library && libraries_.open(file.c_str())) {
        library = std::make_unique<MacLibrary>(core_, libraries_, file.c_str());
    }
    return library.get();
}

}  // namespace zqm
