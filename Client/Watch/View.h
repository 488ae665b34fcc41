#pragma once

#include <optional>
#include <string>

#include "Client/ThisMachine.h"
#include "Client/Watch/Controls.h"
#include "Client/Watch/History.h"
#include "Client/Watch/Panels.h"
#include "Client/Watch/Screen.h"

namespace zqm {

/// What is to be seen.
struct Picture {
    History history;
    std::optional<SnapshotReply> reply;  // the latest
    std::optional<MachineFacts> facts;   // of the machine beside the sample
    bool isGraphicsCounted = false;      // by the cards' drivers, for their ranking; else it is an estimate
    std::string problem;                 // why there is no newer one; empty: there is
    Seconds silence{0};                  // since the latest
    std::string host;
    Seconds interval{1};           // between two samples
    std::size_t rankingRows = 10;  // in each, at most
    Choices choices;
};

/// Draws the picture as it fits on the screen, and sends it.
void draw(Screen& screen, const Picture& picture, const SettingsStore& settings);

}  // namespace zqm
