#pragma once

#include <array>
#include <chrono>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Platform/Machine.h"
#include "Platform/Machine/MachineDetails.h"
#include "ZQMHelper/Shared/MetricsJson.h"

namespace zqm {

/// What passes through one drive or interface, bytes per second.
struct TransferRate {
    std::string name;
    double in = 0;   // read or received
    double out = 0;  // written or sent
};

/// What no sample holds. What is not told is empty or absent.
struct MachineFacts {
    std::string system, model, processor;
    std::optional<Seconds> uptime;
    std::optional<std::array<double, 3>> loadAverages;
    std::vector<FileSystem> fileSystems = {};
    std::vector<TransferRate> drives = {}, interfaces = {};  // since the facts were asked last
    std::vector<SensorFigure> temperatures = {}, fans = {};  // by `allFactsBeside` alone
};

/// The machine that the client runs on, for what people ask and no sample holds. One thread at a time.
class ThisMachine {
public:
    /// `root` takes the place of "/", as it does for a helper that reads another tree.
    explicit ThisMachine(std::string_view root) : ThisMachine(makeNativeMachine(root)) {}
    explicit ThisMachine(std::unique_ptr<Machine> machine) : machine_(std::move(machine)) {}

    /// Null where the sample is of another machine (as much memory and as many processors make it this one), or where
    /// this one tells none.
    MachineDetails* detailsBeside(const SystemSnapshot& sample);
    /// nullopt for another machine's sample.
    std::optional<MachineFacts> factsBeside(const SystemSnapshot& sample);
    /// The same with sensors; takes a second, in which drives and interfaces are measured.
    std::optional<MachineFacts> allFactsBeside(const SystemSnapshot& sample);

    /// Leaves out the entries of rankings whose process has ended since: the helper keeps its last ranking where it has
    /// no newer one. Another machine's sample stays as it is.
    void dropEnded(SnapshotReply& reply);

private:
    /// What had passed when it was looked at last.
    struct Transfers {
        std::vector<DriveReading> drives;
        std::vector<InterfaceReading> interfaces;
        std::chrono::steady_clock::time_point time{};
    };
    struct Names {
        std::string system, model, processor;
    };
    const Names& names();
    void addRates(MachineFacts& facts, MachineDetails& details);

    std::unique_ptr<Machine> machine_;
    std::optional<Names> names_;  // which stay as they are, while to read them costs more than all the rest
    std::optional<Transfers> transfers_;
};

/// Ranks processes by what the drivers of graphics cards count, from one look to the next.
class GraphicsRanking {
public:
    /// Those that kept a card's busiest engine at work since the last look, largest share (0…1) first; nullopt on the
    /// first look, and where no driver counts.
    std::optional<std::vector<TopProcess>> look(MachineDetails& details);
    /// Whether the last look found counters.
    bool hasCounters() const { return !previous_.empty(); }

private:
    using Identity = std::pair<std::int32_t, std::uint64_t>;  // pid and start time
    std::map<Identity, std::vector<EngineUse>> previous_;
};

}  // namespace zqm
