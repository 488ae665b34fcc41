#pragma once

#include <string>
#include <variant>

#include "Platform/Process/Commands.h"

namespace zqm {

/// Why there is no table, and the way out: one line for a person.
struct SourcesError {
    std::string message;
};

/// The table of `ZQMHelper --sources`, which says of each figure where it is read from or why it is absent. The program
/// that is run stands beside this one, else on PATH; it needs no running helper. Blocks for the second or two between
/// its two samples, for ten seconds at most.
std::variant<std::string, SourcesError> sourcesTable(Commands& commands);

}  // namespace zqm
