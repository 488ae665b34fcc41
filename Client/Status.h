#pragma once

#include <string>

#include "Client/Terminal.h"
#include "Client/ThisMachine.h"
#include "ZQMHelper/Shared/MetricsJson.h"
#include "ZQMHelper/Shared/SettingsStore.h"

namespace zqm {

/// The machine at a glance: one aligned line per family, families that the machine does not have left out. An old
/// sample is shown with its age. `facts` are the machine's beside the sample, as far as they are known.
std::string statusText(const SnapshotReply& reply, const MachineFacts* facts, const SettingsStore& settings,
                       const Style& style, WallTime now);

/// The column in which its details begin.
constexpr std::size_t statusIndent = 21;

/// The decoded answer, encoded again as one line.
std::string statusJson(const SnapshotReply& reply);

/// One ranking as a table of at most `count` rows, without those that take nothing.
std::string rankingText(const std::vector<TopProcess>& ranking, ProcessCategory category, std::size_t count,
                        const Style& style);

std::string uptimeText(Seconds uptime);                           // "3 d 4:05", "4:05": hours and minutes
std::string averagesText(const std::array<double, 3>& averages);  // "0.52 0.40 0.33"

/// The value of a ranking's entry with its unit.
std::string rankingValueText(ProcessCategory category, double value);

}  // namespace zqm
