#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "Client/ThisMachine.h"
#include "Client/Watch/History.h"
#include "Client/Watch/Screen.h"
#include "ZQMHelper/Shared/SettingsStore.h"

/// What the panels say, in words and curves; where and how they are drawn is the view's.
namespace zqm {

struct Figure {
    std::string text;
    Role role = Role::plain;
};

struct Curve {
    Track track;
    Role role;
};

struct Panel {
    std::string title;
    std::vector<Figure> figures;  // the last matters most
    std::vector<Curve> curves;    // the second one hangs from the middle; none: the processors one by one
    double low = 0;
    double high = 1;
    /// Where there is no natural upper end: the scale reaches to what is visible and to `high` at least, and this
    /// writes it.
    std::string (*scaleText)(double) = nullptr;
};

Role roleOf(Level level);

/// The panels of what this machine has, the most important first. `facts` are told beside the sample, null where
/// they are not known.
std::vector<Panel> panelsFor(const SnapshotReply& reply, const MachineFacts* facts, const History& history,
                             const SettingsStore& settings);

struct Core {
    std::size_t index = 0;  // in the kernel's order
    std::string label;      // "P0"
    Role role = Role::plain;
};
/// Performance processors first.
std::vector<Core> coresByKind(const CPUMetrics& cpu);

std::string_view rankingTitle(ProcessCategory category);

}  // namespace zqm
