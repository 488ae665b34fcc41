#pragma once

#include <functional>
#include <memory>

#include "Client/BarWriter.h"
#include "Client/HelperClient.h"

namespace zqm {

/// Writes a line to standard output for each new sample of the helper, more while the latest grows old, and one when
/// the helper gives none, until the reader is gone or a signal asks the process to end (status 0), or the output fails.
/// Each line is by the preferences of its time: another object where they have changed.
using Preferences = std::function<std::shared_ptr<const SettingsStore>()>;
ExitStatus followBar(const HelperClient& helper, BarWriter& writer, const Preferences& preferences);

}  // namespace zqm
