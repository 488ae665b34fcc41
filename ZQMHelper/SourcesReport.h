#pragma once

#include <string>

#include "Platform/Machine/SourceReport.h"
#include "Platform/Platform.h"

namespace zqm {

/// What a user adds to a bug report: a table with one line per metric family that says what it reads at present, how
/// long its reader took for that, and where it is read from or why it is absent. Nothing in it identifies the machine.
///
/// Takes two samples a second apart, so that rates show, and blocks for that long: not for a thread that serves.
std::string sourcesReport(Platform& platform = Platform::current());

}  // namespace zqm
