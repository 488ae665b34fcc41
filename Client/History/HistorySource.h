#pragma once

#include <cstdint>
#include <optional>

#include "Client/History/HistoryBlock.h"

namespace zqm {

enum class HistoryRows { figures, cores };

/// The past between two seconds since 1970 of what the helper on `port` has told: of the server that keeps it if one
/// runs, else of its files, which may be five minutes old; nullopt where there is none. Blocks for a second at most.
std::optional<HistoryBlock> pastBetween(std::uint16_t port, std::uint32_t from, std::uint32_t to, HistoryRows rows);

}  // namespace zqm
