#pragma once

#include <deque>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "Platform/Apple/HostStatistics.h"
#include "Platform/Apple/IOReport.h"
#include "Platform/Apple/NetworkInterfaces.h"
#include "Platform/Apple/PowerSources.h"
#include "Platform/Apple/Registry.h"
#include "Platform/Apple/Sysctl.h"
#include "Platform/Apple/TemperatureSensors.h"
#include "Platform/Machine.h"
#include "Support/Text.h"

namespace zqm {

/// Counts the platform calls and lets the n-th fail, once or from then on. Each call names the members of the snapshot
/// that it feeds, separated by spaces.
class FaultPlan {
public:
    FaultPlan(unsigned nth, bool fromThenOn) : nth_(nth), fromThenOn_(fromThenOn) {}  // 0: none fails

    /// The result of the call, or `failure` in its place.
    template <class Call, class Result = std::invoke_result_t<Call>>
    Result attempt(std::string_view members, Call call, std::type_identity_t<Result> failure = {}) {
        ++calls;
        if (nth_ == 0 || (fromThenOn_ ? calls < nth_ : calls != nth_)) return call();
        while (!members.empty()) affected.emplace(takeWord(members));
        return failure;
    }
    void disarm() { nth_ = 0; }

    unsigned calls = 0;
    int liveHandles = 0;
    std::set<std::string, std::less<>> affected;  // members that a failed call feeds
    std::string_view channelMembers;              // those of the sample whose channels are being read

private:
    unsigned nth_;
    bool fromThenOn_;
};

/// Owns a handle of the real machine and counts as one until it is given back.
template <class Handle>
class FaultyHandle : public Handle {
public:
    FaultyHandle(FaultPlan& plan, std::string_view members, std::unique_ptr<Handle> inner)
        : plan_(plan), members_(members), inner_(std::move(inner)) {
        ++plan_.liveHandles;
    }
    ~FaultyHandle() override { --plan_.liveHandles; }
    Handle& inner() const { return *inner_; }

protected:
    template <class Call, class Result = std::invoke_result_t<Call>>
    Result attempt(Call call) const {
        return plan_.attempt(members_, call);
    }
    FaultPlan& plan_;
    std::string_view members_;

private:
    std::unique_ptr<Handle> inner_;
};

template <class Faulty, class Handle>
std::unique_ptr<Handle> wrap(FaultPlan& plan, std::string_view members, std::unique_ptr<Handle> inner) {
    return inner ? std::make_unique<Faulty>(plan, members, std::move(inner)) : nullptr;
}
template <class Faulty, class Handle>
std::optional<std::vector<std::unique_ptr<Handle>>> wrapAll(FaultPlan& plan, std::string_view members,
                                                            std::optional<std::vector<std::unique_ptr<Handle>>> all) {
    if (!all) return std::nullopt;
    for (auto& each : *all) each = wrap<Faulty>(plan, members, std::move(each));
    return all;
}

struct FaultyHostStatistics final : HostStatistics {
    FaultyHostStatistics(HostStatistics& service, FaultPlan& faults) : inner(service), plan(faults) {}
    std::optional<std::vector<ProcessorTicks>> processorTicks() override {
        return plan.attempt("cpu load", [&] { return inner.processorTicks(); });
    }
    std::optional<VirtualMemoryPages> virtualMemory() override {
        return plan.attempt("memory", [&] { return inner.virtualMemory(); });
    }
    std::optional<std::uint64_t> pageSize() override {
        return plan.attempt("memory", [&] { return inner.pageSize(); });
    }
    HostStatistics& inner;
    FaultPlan& plan;
};

struct FaultySysctl final : Sysctl {
    FaultySysctl(Sysctl& service, FaultPlan& faults) : inner(service), plan(faults) {}
    std::optional<Bytes> read(std::string_view name) override {
        return plan.attempt(name.starts_with("hw.perflevel") ? "cpu" : "memory", [&] { return inner.read(name); });
    }
    Sysctl& inner;
    FaultPlan& plan;
};

struct FaultyNetworkInterfaces final : NetworkInterfaces {
    FaultyNetworkInterfaces(NetworkInterfaces& service, FaultPlan& faults) : inner(service), plan(faults) {}
    std::optional<std::vector<LinkInterface>> links() override {
        return plan.attempt("network", [&] { return inner.links(); });
    }
    NetworkInterfaces& inner;
    FaultPlan& plan;
};

struct FaultyUserClient final : FaultyHandle<UserClient> {
    using FaultyHandle::FaultyHandle;
    bool callStruct(std::uint32_t selector, std::span<const std::uint8_t> input,
                    std::span<std::uint8_t> output) override {
        return attempt([&] { return inner().callStruct(selector, input, output); });
    }
};

struct FaultyEntry final : FaultyHandle<RegistryEntry> {
    using FaultyHandle::FaultyHandle;
    std::optional<std::string> name() const override {
        return attempt([&] { return inner().name(); });
    }
    std::optional<std::vector<std::unique_ptr<RegistryEntry>>> children() const override {
        return attempt([&] { return wrapAll<FaultyEntry>(plan_, members_, inner().children()); });
    }
    std::optional<PropertyValue> property(std::string_view key) const override {
        return attempt([&] { return inner().property(key); });
    }
    std::unique_ptr<UserClient> open(std::uint32_t type) const override {
        return attempt([&] { return wrap<FaultyUserClient>(plan_, members_, inner().open(type)); });
    }
};

struct FaultyRegistry final : Registry {
    FaultyRegistry(Registry& service, FaultPlan& faults) : inner(service), plan(faults) {}
    static std::string_view membersOf(std::string_view className) {
        if (className == "AppleARMPE") return "cpu";
        if (className == "AppleARMIODevice") return "cpu gpu";
        if (className == "IOBlockStorageDriver") return "disk";
        if (className == "IOAccelerator") return "gpu load";
        if (className == "AppleSmartBattery") return "battery";
        return "power";  // the controllers
    }
    std::optional<std::vector<std::unique_ptr<RegistryEntry>>> services(std::string_view className) override {
        const std::string_view members = membersOf(className);
        return plan.attempt(members, [&] { return wrapAll<FaultyEntry>(plan, members, inner.services(className)); });
    }
    Registry& inner;
    FaultPlan& plan;
};

struct FaultySensor final : FaultyHandle<TemperatureSensor> {
    using FaultyHandle::FaultyHandle;
    std::optional<std::string> product() const override {
        return attempt([&] { return inner().product(); });
    }
    std::optional<double> temperature() const override {
        return attempt([&] { return inner().temperature(); });
    }
};

struct FaultyTemperatureSensors final : TemperatureSensors {
    FaultyTemperatureSensors(TemperatureSensors& service, FaultPlan& faults) : inner(service), plan(faults) {}
    std::optional<std::vector<std::unique_ptr<TemperatureSensor>>> sensors() override {
        return plan.attempt("cpu gpu", [&] { return wrapAll<FaultySensor>(plan, "cpu gpu", inner.sensors()); });
    }
    TemperatureSensors& inner;
    FaultPlan& plan;
};

struct FaultyPowerSources final : PowerSources {
    FaultyPowerSources(PowerSources& service, FaultPlan& faults) : inner(service), plan(faults) {}
    std::optional<std::vector<std::optional<PropertyDictionary>>> descriptions() override {
        return plan.attempt("battery", [&] { return inner.descriptions(); });
    }
    std::optional<PropertyValue> adapterDetails() override {
        return plan.attempt("battery", [&] { return inner.adapterDetails(); });
    }
    PowerSources& inner;
    FaultPlan& plan;
};

struct FaultyChannels final : FaultyHandle<ReportChannels> {
    using FaultyHandle::FaultyHandle;
    std::size_t entryCount() const override { return inner().entryCount(); }  // cannot fail
    std::unique_ptr<ReportChannels> mutableCopy() const override {
        return attempt([&] { return wrap<FaultyChannels>(plan_, members_, inner().mutableCopy()); });
    }
};

struct FaultySample final : FaultyHandle<ReportSample> {
    using FaultyHandle::FaultyHandle;
    std::optional<std::vector<const ReportChannel*>> channels() const override {
        plan_.channelMembers = members_;
        return attempt([&] { return inner().channels(); });
    }
    std::string_view members() const { return members_; }
};

struct FaultyLibrary final : ReportLibrary {
    static constexpr std::string_view all = "cpu gpu power load";
    struct Subscription final : ReportSubscription {
        Subscription(ReportSubscription& subscription, std::string_view feeds) : inner(subscription), members(feeds) {}
        ReportSubscription& inner;
        std::string_view members;
    };

    FaultyLibrary(ReportLibrary& service, FaultPlan& faults) : inner(service), plan(faults) {}
    static const ReportChannels& unwrap(const ReportChannels& channels) {
        return static_cast<const FaultyChannels&>(channels).inner();
    }
    static ReportChannels& unwrap(ReportChannels& channels) { return static_cast<FaultyChannels&>(channels).inner(); }

    bool has(ReportOperation operation) const override {
        return plan.attempt(all, [&] { return inner.has(operation); });
    }
    std::unique_ptr<ReportChannels> copyChannelsInGroup(std::string_view group,
                                                        std::optional<std::string_view> subgroup) override {
        copied = group == "Energy Model" ? "power load" : "cpu gpu";
        return plan.attempt(
            copied, [&] { return wrap<FaultyChannels>(plan, copied, inner.copyChannelsInGroup(group, subgroup)); });
    }
    void mergeChannels(ReportChannels& destination, const ReportChannels& source) override {
        inner.mergeChannels(unwrap(destination), unwrap(source));
    }
    ReportSubscription* createSubscription(ReportChannels& channels) override {
        ReportSubscription* made = plan.attempt(copied, [&] { return inner.createSubscription(unwrap(channels)); });
        return made ? &subscriptions.emplace_back(*made, copied) : nullptr;
    }
    std::unique_ptr<ReportSample> createSamples(ReportSubscription& subscription, ReportChannels& channels) override {
        const auto& wrapped = static_cast<Subscription&>(subscription);
        return plan.attempt(wrapped.members, [&] {
            return wrap<FaultySample>(plan, wrapped.members, inner.createSamples(wrapped.inner, unwrap(channels)));
        });
    }
    std::unique_ptr<ReportSample> createSamplesDelta(const ReportSample& earlier, const ReportSample& later) override {
        const auto& from = static_cast<const FaultySample&>(earlier);
        const auto& to = static_cast<const FaultySample&>(later);
        return plan.attempt(to.members(), [&] {
            return wrap<FaultySample>(plan, to.members(), inner.createSamplesDelta(from.inner(), to.inner()));
        });
    }
    template <class Call, class Result = std::invoke_result_t<Call>>
    Result ofChannel(Call call, std::type_identity_t<Result> failure = {}) {
        return plan.attempt(plan.channelMembers, call, failure);
    }
    std::optional<std::string> channelGetChannelName(const ReportChannel& channel) override {
        return ofChannel([&] { return inner.channelGetChannelName(channel); });
    }
    std::optional<std::string> channelGetUnitLabel(const ReportChannel& channel) override {
        return ofChannel([&] { return inner.channelGetUnitLabel(channel); });
    }
    std::int32_t stateGetCount(const ReportChannel& channel) override {
        return ofChannel([&] { return inner.stateGetCount(channel); }, -1);
    }
    std::optional<std::string> stateGetName(const ReportChannel& channel, std::int32_t index) override {
        return ofChannel([&] { return inner.stateGetName(channel, index); });
    }
    std::int64_t simpleGetIntegerValue(const ReportChannel& channel) override {
        return ofChannel([&] { return inner.simpleGetIntegerValue(channel); }, -1);
    }
    std::int64_t stateGetResidency(const ReportChannel& channel, std::int32_t index) override {
        return ofChannel([&] { return inner.stateGetResidency(channel, index); }, -1);
    }

    ReportLibrary& inner;
    FaultPlan& plan;
    std::string_view copied;  // what the channels copied last feed: a subscription is made right after
    std::deque<Subscription> subscriptions;
};

struct FaultyIOReport final : IOReport {
    FaultyIOReport(IOReport& service, FaultPlan& faults) : inner(service), plan(faults) {}
    ReportLibrary* open(std::string_view path) override {
        ReportLibrary* opened = plan.attempt(FaultyLibrary::all, [&] { return inner.open(path); });
        return opened ? &libraries.emplace_back(*opened, plan) : nullptr;
    }
    IOReport& inner;
    FaultPlan& plan;
    std::deque<FaultyLibrary> libraries;
};

/// Any machine, with the calls to it failing as the plan says. Both outlive it.
class FaultyMachine final : public Machine {
public:
    FaultyMachine(Machine& machine, FaultPlan& plan)
        : inner_(machine.services()),
          hostStatistics_(inner_.hostStatistics, plan),
          sysctl_(inner_.sysctl, plan),
          networkInterfaces_(inner_.networkInterfaces, plan),
          registry_(inner_.registry, plan),
          ioReport_(inner_.ioReport, plan),
          powerSources_(inner_.powerSources, plan),
          temperatureSensors_(inner_.temperatureSensors, plan) {}

    MachineServices services() override {
        return {{.hostStatistics = hostStatistics_,
                 .sysctl = sysctl_,
                 .networkInterfaces = networkInterfaces_,
                 .interfaceAddresses = inner_.interfaceAddresses,
                 .proxySettings = inner_.proxySettings,
                 .registry = registry_,
                 .ioReport = ioReport_,
                 .powerSources = powerSources_,
                 .temperatureSensors = temperatureSensors_},
                inner_.readings,
                inner_.processTable,
                inner_.printers,
                inner_.taskCounters,
                inner_.systemFacts,
                inner_.sourceReport};
    }

private:
    MachineServices inner_;
    FaultyHostStatistics hostStatistics_;
    FaultySysctl sysctl_;
    FaultyNetworkInterfaces networkInterfaces_;
    FaultyRegistry registry_;
    FaultyIOReport ioReport_;
    FaultyPowerSources powerSources_;
    FaultyTemperatureSensors temperatureSensors_;
};

}  // namespace zqm
