#pragma once

#include <string>
#include <string_view>
#include <variant>

#include "Client/HelperClient.h"

namespace zqm {

/// What the helper answered when it was asked for its snapshot of now.
using HelperAnswer = std::variant<SnapshotReply, HelperError>;

constexpr std::string_view expositionType = "text/plain; version=0.0.4; charset=utf-8";

/// The answer in the text format of Prometheus: "zqm_up" and one family for each figure of the snapshot and for each
/// ranking; of a helper that gave none "zqm_up 0" alone.
///
/// What the machine does not tell is left out: a 0 would be taken for a figure. So are the addresses and places of the
/// network record, since a database keeps them for long and shows them to many, and the numbers of processes, since
/// each new one would be a time series of its own for ever; a process is known by its rank and name.
std::string exposition(const HelperAnswer& answer);

}  // namespace zqm
