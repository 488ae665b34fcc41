#pragma once

#include <array>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Platform/Platform.h"
#include "Support/LastPositive.h"
#include "ZQMHelper/Shared/FrequencyTopology.h"
#include "ZQMHelper/Shared/IOReportLoader.h"

namespace zqm {

/// Performance states of one channel and the time spent in each, in the library's order. Residencies are only compared
/// with each other: their unit does not matter.
using StateList = std::vector<std::pair<std::string, double>>;

/// Mean frequency (Hz) of the active time: states after the leading idle ones ("DOWN…", "IDLE…", "OFF…") stand for the
/// ladder's entries in order, those past its end for its top. 0 when there was no active time or nothing is known.
double weighted(const StateList& states, const FrequencyLadder& ladder);

/// Mean frequency (Hz) of several clusters of one kind, each weighted by its active time.
double middle(const std::vector<StateList>& clusters, const FrequencyLadder& ladder);

/// The per-core map of a machine whose cores are all "M" or "P", re-keyed as "P" and the physical index; any other
/// machine's map unchanged.
std::map<std::string, double> legacyCoreFrequencies(const std::map<std::string, double>& perCore,
                                                    const std::vector<std::string>& coreTypes);

/// Frequencies of the clusters, the cores and the GPU. A domain that was idle reports its last positive value.
///
/// Where the machine tells its clocks they are taken as they are, a GPU's being GPUReader's. Elsewhere they are
/// performance-state residencies over 100 ms, weighted with the power manager's ladders, and a sample blocks for about
/// 200 ms. Used from one thread at a time, never the main thread.
class FrequencyReader {
public:
    struct Result {  // MHz
        double efficiencyMHz = 0;
        double performanceMHz = 0;
        double efficiencyMaxMHz = 0;
        double performanceMaxMHz = 0;
        double gpuMHz = 0;
        double gpuMaxMHz = 0;
        std::map<std::string, double> perCoreMHz;  // "E0", "P3", "M1"
    };

    /// Reads the topology and subscribes to the channels, where there are some.
    explicit FrequencyReader(Platform& platform = Platform::current());

    Result sample();

private:
    struct Subscription {
        ReportSubscription* handle = nullptr;
        std::unique_ptr<ReportChannels> channels;
    };
    struct ClusterFrequencies {  // Hz
        double efficiency, performance, middle, gpu;
    };
    using StatesByChannel = std::map<std::string, StateList>;

    Result sampleClocks();
    Result sampleResidencies();
    Subscription makeSubscription(std::string_view group, const std::vector<std::string_view>& subgroups,
                                  std::optional<std::pair<std::string_view, std::string_view>> extra);
    std::optional<StatesByChannel> sampleStates(Subscription& subscription);
    StateList states(const ReportChannel& channel);
    std::optional<ClusterFrequencies> sampleCluster();
    std::map<std::string, double> samplePerCore();
    void dumpChannels(const ReportSample& sample);
    const FrequencyLadder& middleLadder() const { return ladders_.middle ? *ladders_.middle : ladders_.performance; }

    Platform& platform_;
    IOReportLoader loader_;
    const bool dumpChannels_;  // the environment asks for the channel names
    bool didDump_ = false;     // once is enough
    const std::vector<std::string> physicalCoreTypes_;
    const FrequencyLadders ladders_;
    const bool middleForEfficiency_;  // cores of the third kind and no efficiency cores
    Subscription clusters_;
    Subscription cores_;
    // Last positive values, MHz.
    LastPositive efficiency_;
    LastPositive performance_;
    LastPositive gpu_;
    std::map<std::string, LastPositive> lastOfCore_;
    // Of machines that tell their clocks: the cores' last positive values, the same by kind in the kernel's order, and
    // the highest clock of each kind, told or seen.
    std::map<std::string, double> perCoreMHz_;
    std::array<std::vector<double*>, 3> coresByKind_;
    std::array<double, 3> mostMegahertz_{};
};

}  // namespace zqm
