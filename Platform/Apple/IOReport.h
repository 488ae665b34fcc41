#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace zqm {

/// A dictionary of channels. Owned: destruction releases it.
class ReportChannels {
public:
    virtual ~ReportChannels() = default;
    virtual std::size_t entryCount() const = 0;                       // entries of the dictionary itself
    virtual std::unique_ptr<ReportChannels> mutableCopy() const = 0;  // null when it cannot be made
};

/// A subscription to channels. The library keeps it for ever: callers hold a plain pointer and never release it.
class ReportSubscription {
protected:
    ~ReportSubscription() = default;
};

/// One channel of a sample; valid as long as its sample.
class ReportChannel {
protected:
    ~ReportChannel() = default;
};

/// Counters at one moment, or the difference of two moments. Owned: destruction releases it.
class ReportSample {
public:
    virtual ~ReportSample() = default;
    /// The channels in the library's order; nullopt when the sample holds no array of channels.
    virtual std::optional<std::vector<const ReportChannel*>> channels() const = 0;
};

/// The eleven operations of the counter library.
enum class ReportOperation {
    copyChannelsInGroup,
    mergeChannels,
    createSubscription,
    createSamples,
    createSamplesDelta,
    channelGetChannelName,
    channelGetUnitLabel,
    stateGetCount,
    stateGetName,
    simpleGetIntegerValue,
    stateGetResidency,
};

/// The opened library. Callable from any thread. An operation is called only when `has` says that it is there.
class ReportLibrary {
public:
    virtual ~ReportLibrary() = default;
    virtual bool has(ReportOperation operation) const = 0;

    /// The channels of a group; `subgroup` nullopt means all of it. Null when there are none.
    virtual std::unique_ptr<ReportChannels> copyChannelsInGroup(std::string_view group,
                                                                std::optional<std::string_view> subgroup) = 0;
    /// Adds the channels of `source` to `destination`.
    virtual void mergeChannels(ReportChannels& destination, const ReportChannels& source) = 0;
    /// Null when the library refuses. `channels` must outlive every sample taken with it.
    virtual ReportSubscription* createSubscription(ReportChannels& channels) = 0;
    virtual std::unique_ptr<ReportSample> createSamples(ReportSubscription& subscription, ReportChannels& channels) = 0;
    /// The later counters minus the earlier ones, in the shape of a sample.
    virtual std::unique_ptr<ReportSample> createSamplesDelta(const ReportSample& earlier,
                                                             const ReportSample& later) = 0;

    virtual std::optional<std::string> channelGetChannelName(const ReportChannel& channel) = 0;
    virtual std::optional<std::string> channelGetUnitLabel(const ReportChannel& channel) = 0;  // "mJ", "uJ", "nJ"
    virtual std::int32_t stateGetCount(const ReportChannel& channel) = 0;
    virtual std::optional<std::string> stateGetName(const ReportChannel& channel, std::int32_t index) = 0;
    virtual std::int64_t simpleGetIntegerValue(const ReportChannel& channel) = 0;
    virtual std::int64_t stateGetResidency(const ReportChannel& channel, std::int32_t index) = 0;
};

/// Where the counter library is loaded from at run time. Callable from any thread.
class IOReport {
public:
    virtual ~IOReport() = default;
    /// The library at `path`, which stays loaded for ever; null when it cannot be opened.
    virtual ReportLibrary* open(std::string_view path) = 0;
};

}  // namespace zqm
