#pragma once

#include <cstdint>
#include <optional>

#include "Client/HelperClient.h"
#include "ZQMHelper/Shared/SettingsStore.h"

namespace zqm {

/// Shows the machine full screen until the user or a signal ends it. The error is that of the terminal: a helper that
/// is away is shown and waited for. Rankings have `rankingRows` entries at most.
std::optional<HelperError> watch(std::uint16_t port, std::string_view root, const SettingsStore& settings,
                                 std::size_t rankingRows);

}  // namespace zqm
