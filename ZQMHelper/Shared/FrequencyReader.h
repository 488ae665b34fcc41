#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Platform/Platform.h"
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

/// Frequencies of the clusters, the cores and the GPU: performance-state residencies over 100 ms, weighted with the
/// power manager's ladders. A domain that was idle reports its last positive value.
///
/// Used from one thread at a time, never the main thread: a sample blocks for about 200 ms.
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

    /// Reads the topology and subscribes to the channels.
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
    // Last positive values, MHz; of cores by their place within the kind.
    std::vector<double> efficiencyCoreCache_;
    std::vector<double> performanceCoreCache_;
    std::vector<double> middleCoreCache_;
    double efficiencyCache_ = 0;
    double performanceCache_ = 0;
    double gpuCache_ = 0;
};

}  // namespace zqm
