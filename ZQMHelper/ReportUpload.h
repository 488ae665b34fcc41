#pragma once

#include <string>

#include "Platform/Platform.h"
#include "ZQMHelper/Shared/DiagnosticsCollector.h"

namespace zqm {

/// Builds a fresh diagnostics report, posts it to the collection endpoint and returns a small JSON text that says how
/// that went. Blocks until then, at most about ten seconds. Without a configured host nothing is sent.
std::string uploadReport(DiagnosticsCollector& collector, Platform& platform = Platform::current());

}  // namespace zqm
