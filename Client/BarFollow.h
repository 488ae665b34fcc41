#pragma once

#include "Client/BarWriter.h"
#include "Client/HelperClient.h"

namespace zqm {

/// Writes a line to standard output for each new sample of the helper, and one when the helper goes away, until the
/// reader is gone or a signal asks the process to end (status 0), or the output fails.
ExitStatus followBar(const HelperClient& helper, BarWriter& writer, Seconds updateInterval);

}  // namespace zqm
