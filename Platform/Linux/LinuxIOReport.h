#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "Platform/Apple/IOReport.h"
#include "Platform/Linux/Hardware/EnergyZones.h"
#include "Platform/Linux/Hardware/GraphicsCards.h"
#include "Platform/Linux/Processors/ProcessorFrequencies.h"

namespace zqm {

// clang-format off
/// The counter library, put together from cpufreq, the graphics cards and the processor's energy counters.
///
/// | group and subgroup                             | channels                                                     |
/// |------------------------------------------------|--------------------------------------------------------------|
/// | "CPU Stats", "CPU Complex Performance States"  | "ECPU", "PCPU", "MCPU": all processors of a kind             |
/// | "CPU Stats", "CPU Core Performance States"     | "ECPU00", "PCPU01" …: each processor, in the kernel's order  |
/// | "GPU Stats", "GPU Performance States"          | "GPUPH": the fastest clock of any graphics card              |
/// | "Energy Model"                                 | "package-0 CPU Energy", "package-0 GPU Energy", "DRAM package-0", in uJ |
///
/// Performance states are "IDLE" and one per clock step. Linux tells a present frequency, or times that have been
/// running since the start: samples hold no residencies, and the difference of two shows the time since the library
/// was last asked for one. A frequency between two steps is presented as time in both, so that their mean is that
/// frequency. A processor that is offline is idle.
// clang-format on
class LinuxIOReport final : public IOReport, private ReportLibrary {
public:
    LinuxIOReport(ProcessorFrequencies& processors, GraphicsCards& cards, EnergyZones& energy)
        : processors_(processors), cards_(cards), energy_(energy) {}

    /// There is one library, whatever the path.
    ReportLibrary* open(std::string_view) override { return this; }

private:
    bool has(ReportOperation) const override { return true; }
    std::unique_ptr<ReportChannels> copyChannelsInGroup(std::string_view group,
                                                        std::optional<std::string_view> subgroup) override;
    void mergeChannels(ReportChannels& destination, const ReportChannels& source) override;
    ReportSubscription* createSubscription(ReportChannels& channels) override;
    std::unique_ptr<ReportSample> createSamples(ReportSubscription& subscription, ReportChannels& channels) override;
    std::unique_ptr<ReportSample> createSamplesDelta(const ReportSample& earlier, const ReportSample& later) override;
    std::optional<std::string> channelGetChannelName(const ReportChannel& channel) override;
    std::optional<std::string> channelGetUnitLabel(const ReportChannel& channel) override;
    std::int32_t stateGetCount(const ReportChannel& channel) override;
    std::optional<std::string> stateGetName(const ReportChannel& channel, std::int32_t index) override;
    std::int64_t simpleGetIntegerValue(const ReportChannel& channel) override;
    std::int64_t stateGetResidency(const ReportChannel& channel, std::int32_t index) override;

    class Channels;
    class Sample;
    struct Channel;
    struct Subscription final : ReportSubscription {};
    struct Kind;

    void addEnergy(Sample& sample);
    void addProcessors(Sample& sample, bool clusters, bool cores, bool withResidencies);
    void addGraphics(Sample& sample, bool withResidencies);

    ProcessorFrequencies& processors_;
    GraphicsCards& cards_;
    EnergyZones& energy_;
    Subscription subscription_;  // says nothing: what is asked for stands in the channels
};

}  // namespace zqm
