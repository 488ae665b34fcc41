#pragma once

#include <string>

#include "Client/Terminal.h"
#include "ZQMHelper/Shared/MetricsJson.h"
#include "ZQMHelper/Shared/SettingsStore.h"

namespace zqm {

/// The machine at a glance: one aligned line per family, families that the machine does not have left out. An old
/// sample is shown with its age.
std::string statusText(const SnapshotReply& reply, const SettingsStore& settings, const Style& style, WallTime now);

/// The decoded answer, encoded again as one line.
std::string statusJson(const SnapshotReply& reply);

/// One ranking as a table of at most `count` rows, without those that take nothing.
std::string rankingText(const std::vector<TopProcess>& ranking, ProcessCategory category, std::size_t count,
                        const Style& style);

/// The value of a ranking's entry with its unit.
std::string rankingValueText(ProcessCategory category, double value);

}  // namespace zqm
