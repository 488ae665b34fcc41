#pragma once

#include <array>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "ZQMHelper/Shared/Metrics.h"
#include "ZQMHelper/Shared/ProcessCategory.h"

namespace zqm {

/// The snapshot as one compact line of JSON, keys in declaration order; nullopt when a number in it is not finite.
std::optional<std::string> encode(const SystemSnapshot& snapshot);

/// The object `snapshot` with the member "processes" (a JSON text) added last; "{}" becomes an object of that member
/// alone.
std::string withProcesses(std::string snapshot, std::string_view processes);

/// Appends a ranking's entries as a JSON array. Values always have a fraction or an exponent: 3.0, 1e-05, 1e+16.
void appendRanking(std::string& out, const std::vector<TopProcess>& ranking);

/// Why a text is not a snapshot, for a person: "cpu.totalUsage: missing".
struct DecodeError {
    std::string message;
};

/// Reads what `encode` wrote, strictly: every key is required, stands once and has its type, an integer fits its field,
/// a core kind holds exactly one key with an empty object. Members that are not part of the records are passed over.
std::variant<SystemSnapshot, DecodeError> decodeSnapshot(std::string_view text);

/// What the snapshot route answers: the snapshot and the rankings of processes.
struct SnapshotReply {
    SystemSnapshot snapshot;
    std::array<std::vector<TopProcess>, allCases<ProcessCategory>().size()> processes;  // by category

    const std::vector<TopProcess>& ranking(ProcessCategory category) const {
        return processes[static_cast<std::size_t>(category)];
    }
};

/// Reads the answer as strictly: the member "processes" holds the ranking of every category.
std::variant<SnapshotReply, DecodeError> decodeReply(std::string_view text);

}  // namespace zqm
