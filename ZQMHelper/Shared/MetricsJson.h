#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <variant>

#include "ZQMHelper/Shared/Metrics.h"

namespace zqm {

/// The snapshot as one compact line of JSON, keys in declaration order; nullopt when a number in it is not finite.
std::optional<std::string> encode(const SystemSnapshot& snapshot);

/// Why a text is not a snapshot, for a person: "cpu.totalUsage: missing".
struct DecodeError {
    std::string message;
};

/// Reads what `encode` wrote, strictly: every key is required and has its type, a core kind holds exactly one key.
/// Members that are not part of the records are passed over.
std::variant<SystemSnapshot, DecodeError> decodeSnapshot(std::string_view text);

}  // namespace zqm
