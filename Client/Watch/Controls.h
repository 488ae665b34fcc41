#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "Client/Watch/Screen.h"
#include "Platform/Machine/MachineDetails.h"
#include "ZQMHelper/Shared/MetricsJson.h"

/// What the keys of `watch` do.
namespace zqm {

enum class RankingOrder { value, name, pid };

/// An entry that is looked at closely.
struct Inspection {
    TopProcess process;
    std::optional<ProcessFacts> facts;  // absent: nothing more is known of it
    bool isAsking = false;              // whether it is to be ended
    std::string outcome;                // of ending it
};

/// What has been chosen by keys.
struct Choices {
    std::size_t firstRanking = 0;             // in the screen's order; where not all fit side by side
    std::optional<std::int32_t> selectedPid;  // in the first ranking shown
    RankingOrder order = RankingOrder::value;
    std::size_t pace = 1;  // intervals from one sample to the next
    bool isPaused = false;
    bool showsHelp = false;
    bool isOver = false;
    std::optional<Inspection> inspection;
};

/// What the keys need of the machine.
class ProcessActions {
public:
    virtual ~ProcessActions() = default;
    virtual std::optional<ProcessFacts> look(std::int32_t pid) = 0;
    /// Asks the process to end (SIGTERM), if it still is the one that was looked at; returns what became of that.
    virtual std::string end(std::int32_t pid, const ProcessFacts& facts) = 0;
};

/// The categories in the order of the screen: what every machine has comes first.
ProcessCategory categoryAt(std::size_t place);

/// The entries of a ranking as the screen shows them, without those that only fill it.
std::vector<TopProcess> shownRanking(const SnapshotReply& reply, ProcessCategory category, RankingOrder order);

/// Changes the choices as a key wants it; `reply` is what the screen shows, null before the first.
void press(const KeyPress& key, const SnapshotReply* reply, ProcessActions& actions, Choices& choices);

}  // namespace zqm
