#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "Platform/Platform.h"
#include "ZQMHelper/Shared/IOReportLoader.h"
#include "ZQMHelper/Shared/Metrics.h"
#include "ZQMHelper/Shared/SMCBridge.h"

namespace zqm {

struct GraphicsReading;

/// Cumulative energy of the machine's components, millijoules.
struct EnergyTotals {
    double cpu = 0;
    double gpu = 0;
    double ane = 0;
    double dram = 0;
    double system = 0;  // where the machine counts it
};

/// Adds `value`, counted in the unit that `label` names ("nJ", "uJ", "µJ", anything else: mJ), to the component that
/// the channel's name stands for; other channels are passed over.
void addEnergy(EnergyTotals& totals, std::string_view channel, std::string_view label, double value);

/// Power of the components, from the growth of their energy counters since the last sample, which the machine tells or
/// the counter library, and what graphics cards tell in watts; of the whole system from such a counter too, else with
/// the display's from the system management controller. The first sample is all zeros. Used from one thread at a time.
class PowerReader {
public:
    explicit PowerReader(std::shared_ptr<SMCBridge> smc, Platform& platform = Platform::current());

    /// `batteryWatts`, what the battery gives, is the power of the whole machine where nothing measures that.
    PowerMetrics sample(double batteryWatts = 0);

private:
    ReportSubscription* createSubscription();
    /// What graphics cards tell themselves.
    struct CardPower {
        double watts = 0;                    // of all of them
        double packageWatts = 0;             // where a card stands for its processor's package
        bool isIntegratedAmongThem = false;  // which the processor's own counter holds as well
    };
    CardPower readCards();
    double cardWatts(const GraphicsReading& card);
    std::optional<EnergyTotals> readTotals();
    std::optional<EnergyTotals> readChannels();

    Platform& platform_;
    IOReportLoader loader_;
    std::shared_ptr<SMCBridge> smc_;
    std::unique_ptr<ReportChannels> channels_;
    ReportSubscription* subscription_;
    struct Reading {
        EnergyTotals totals;
        MonotonicTime time;
    };
    std::optional<Reading> previous_;
    double toldSystemWatts_ = 0;  // by the last reading of the totals, where it is told as power
    struct CardEnergy {
        double millijoules = 0;
        MonotonicTime time{};
        double watts = 0;  // until then
    };
    std::map<std::string, CardEnergy> cards_;
    bool hasProcessorEnergy_ = false;
};

}  // namespace zqm
