#include "Client/Watch/Controls.h"

#include <algorithm>
#include <array>

namespace zqm {
namespace {

constexpr std::size_t categories = allCases<ProcessCategory>().size();
constexpr std::array<std::size_t, 6> paces{1, 2, 5, 10, 30, 60};

void turnRankings(Choices& choices, std::size_t by) {
    choices.firstRanking = (choices.firstRanking + by) % categories;
    choices.selectedPid.reset();
}

std::vector<TopProcess> chosenRanking(const SnapshotReply& reply, const Choices& choices) {
    return shownRanking(reply, categoryAt(choices.firstRanking), choices.order);
}

/// Selects the entry above (-1) or below (1) the selected one, without one the first.
void moveSelection(const SnapshotReply& reply, Choices& choices, int by) {
    const std::vector<TopProcess> ranking = chosenRanking(reply, choices);
    if (ranking.empty()) return choices.selectedPid.reset();
    const auto selected = std::find_if(ranking.begin(), ranking.end(),
                                       [&](const TopProcess& process) { return process.pid == choices.selectedPid; });
    const auto last = static_cast<std::ptrdiff_t>(ranking.size()) - 1;
    const std::ptrdiff_t next = selected == ranking.end() ? 0 : selected - ranking.begin() + by;
    choices.selectedPid = ranking[static_cast<std::size_t>(std::clamp<std::ptrdiff_t>(next, 0, last))].pid;
}

void inspect(const SnapshotReply& reply, ProcessActions& actions, Choices& choices) {
    if (!choices.selectedPid) moveSelection(reply, choices, 0);
    for (TopProcess& process : chosenRanking(reply, choices)) {
        if (process.pid != choices.selectedPid) continue;
        auto facts = actions.look(process.pid);
        choices.inspection = Inspection{std::move(process), std::move(facts), false, {}};
        return;
    }
}

/// Keys while an entry is looked at.
void pressInspecting(const KeyPress& key, ProcessActions& actions, Choices& choices) {
    Inspection& inspection = *choices.inspection;
    const bool isYes = key.key == Key::character && (key.character == 'y' || key.character == 'Y');
    if (inspection.isAsking) {
        if (isYes) inspection.outcome = actions.end(inspection.process.pid, *inspection.facts);
        inspection.isAsking = false;
        return;
    }
    if (key.key == Key::character && key.character == 'k' && inspection.facts && inspection.outcome.empty()) {
        inspection.isAsking = true;
        return;
    }
    choices.inspection.reset();
}

void changePace(Choices& choices, int by) {
    const auto at = std::find(paces.begin(), paces.end(), choices.pace) - paces.begin() + by;
    if (at >= 0 && at < static_cast<std::ptrdiff_t>(paces.size())) choices.pace = paces[static_cast<std::size_t>(at)];
}

void pressCharacter(char character, Choices& choices) {
    constexpr std::size_t orders = 3;
    if (character >= '1' && character < static_cast<char>('1' + categories)) {
        choices.selectedPid.reset();
        choices.firstRanking = static_cast<std::size_t>(character - '1');
    }
    if (character == '?' || character == 'h') choices.showsHelp = true;
    if (character == ' ' || character == 'p') choices.isPaused = !choices.isPaused;
    if (character == '+') changePace(choices, 1);
    if (character == '-') changePace(choices, -1);
    if (character == 's') {
        choices.order = static_cast<RankingOrder>((static_cast<std::size_t>(choices.order) + 1) % orders);
    }
}

}  // namespace

ProcessCategory categoryAt(std::size_t place) {
    static constexpr std::array order{ProcessCategory::cpu,     ProcessCategory::memory, ProcessCategory::disk,
                                      ProcessCategory::network, ProcessCategory::gpu,    ProcessCategory::power};
    static_assert(order.size() == categories);
    return order[place % categories];
}

std::vector<TopProcess> shownRanking(const SnapshotReply& reply, ProcessCategory category, RankingOrder order) {
    std::vector<TopProcess> ranking = reply.ranking(category);
    std::erase_if(ranking, [](const TopProcess& process) { return process.value <= 0; });
    if (order == RankingOrder::name) {
        std::stable_sort(ranking.begin(), ranking.end(),
                         [](const TopProcess& a, const TopProcess& b) { return a.name < b.name; });
    }
    if (order == RankingOrder::pid) {
        std::stable_sort(ranking.begin(), ranking.end(),
                         [](const TopProcess& a, const TopProcess& b) { return a.pid < b.pid; });
    }
    return ranking;
}

void press(const KeyPress& key, const SnapshotReply* reply, ProcessActions& actions, Choices& choices) {
    const bool isQuit = key.key == Key::character && (key.character == 'q' || key.character == 'Q');
    if (isQuit) choices.isOver = true;
    if (choices.showsHelp) {
        choices.showsHelp = false;
        return;
    }
    if (choices.inspection) return pressInspecting(key, actions, choices);
    switch (key.key) {
        case Key::next:
            return turnRankings(choices, 1);
        case Key::previous:
            return turnRankings(choices, categories - 1);
        case Key::up:
        case Key::down:
            if (reply) moveSelection(*reply, choices, key.key == Key::up ? -1 : 1);
            return;
        case Key::enter:
            if (reply) inspect(*reply, actions, choices);
            return;
        case Key::escape:
            return choices.selectedPid.reset();
        case Key::character:
            return pressCharacter(key.character, choices);
        case Key::redraw:
        case Key::other:
            return;
    }
}

}  // namespace zqm
