#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <utility>

#include "Client/HelperClient.h"
#include "Client/History/Tracks.h"
#include "Client/Levels.h"
#include "Client/ThisMachine.h"
#include "ZQMHelper/Shared/SettingsStore.h"

namespace zqm {

/// What the page is told once a second.
struct NowPicture {
    const HelperAnswer& answer;
    const Levels& levels;
    std::optional<std::pair<std::uint32_t, Figures>> latest;  // of the history
    const MachineFacts* facts = nullptr;                      // null: not known
    const SettingsStore& settings;
    Seconds interval{1};
    WallTime now;
};

/// As one JSON object; what is not known is null or left out.
std::string nowText(const NowPicture& picture);

}  // namespace zqm
