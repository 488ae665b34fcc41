#include "Client/Watch/Watch.h"

#include <poll.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cmath>
#include <cstdlib>
#include <system_error>

#include "Client/History/HistorySource.h"
#include "Client/Terminal.h"
#include "Client/Texts.h"
#include "Client/Units.h"
#include "Client/Watch/Signals.h"
#include "Client/Watch/SnapshotFeed.h"
#include "Client/Watch/View.h"

namespace zqm {
namespace {

using MonotonicClock = std::chrono::steady_clock;

std::string hostName() {
    std::array<char, 256> name{};
    return ::gethostname(name.data(), name.size() - 1) == 0 ? name.data() : "";
}

/// The loop. Time runs in slots of one interval, each with one question and one value in the histories.
class Watch {
public:
    Watch(std::uint16_t port, std::string_view root, const SettingsStore& settings, std::size_t rankingRows,
          Signals& signals, Screen& screen)
        : settings_(settings),
          usualInterval_(std::clamp(settings.updateInterval(), 1.0, 3600.0)),
          machine_(root),
          signals_(signals),
          feed_(port, root),
          screen_(screen) {
        picture_.host = hostName();
        picture_.interval = usualInterval_;
        picture_.rankingRows = rankingRows;
        recall(port);
    }

    void run() {
        while (!picture_.choices.isOver) {
            startSlot();
            if (isChanged_) draw(screen_, picture_, settings_);
            isChanged_ = false;
            wait();
        }
    }

private:
    enum Source : std::size_t { keyboard, events, answers };

    /// The processes of this machine, asked on the main thread: a person waits for the answer to a key.
    class Actions final : public ProcessActions {
    public:
        Actions(ThisMachine& machine, const std::optional<SnapshotReply>& reply) : machine_(machine), reply_(reply) {}
        std::optional<ProcessFacts> look(std::int32_t pid) override {
            MachineDetails* const details = reply_ ? machine_.detailsBeside(reply_->snapshot) : nullptr;
            return details ? details->process(pid) : std::nullopt;
        }
        std::string end(std::int32_t pid, const ProcessFacts& facts) override {
            const auto now = look(pid);
            if (!now || now->startTime != facts.startTime) return said("It has ended already.");
            if (::kill(pid, SIGTERM) == 0) return said("Asked to end.");
            return said("Cannot ask it: {}.", std::generic_category().message(errno));
        }

    private:
        ThisMachine& machine_;
        const std::optional<SnapshotReply>& reply_;
    };

    /// What was before, where somebody has kept it.
    void recall(std::uint16_t port) {
        const double now = std::floor(wallTimeNow().time_since_epoch().count());
        const double span = std::min(static_cast<double>(History::capacity) * usualInterval_.count(), 3600.0);
        const auto past = [&](HistoryRows rows) {
            return pastBetween(port, static_cast<std::uint32_t>(now - span), static_cast<std::uint32_t>(now), rows);
        };
        const auto figures = past(HistoryRows::figures);
        if (!figures) return;
        const auto cores = past(HistoryRows::cores);
        picture_.history.recall(&*figures, cores ? &*cores : nullptr, now, usualInterval_.count());
        recalled_ = picture_.history.size();
    }

    Seconds sinceStart() const { return MonotonicClock::now() - start_; }

    /// Slots that passed without an answer become gaps, those too in which the process was stopped.
    void startSlot() {
        const auto slot = static_cast<std::size_t>(sinceStart() / picture_.interval);
        if (slot < nextSlot_) return;
        if (picture_.choices.isPaused) {
            nextSlot_ = slot + 1;
            return;
        }
        const std::size_t missing = slot - std::min(slot, picture_.history.size() - recalled_);
        for (std::size_t i = 0; i < missing; ++i) picture_.history.addGap();
        nextSlot_ = slot + 1;
        feed_.ask();
    }

    void wait() {
        std::array<pollfd, 3> sources{};
        sources[keyboard] = {STDIN_FILENO, POLLIN, 0};
        sources[events] = {signals_.descriptor(), POLLIN, 0};
        sources[answers] = {feed_.descriptor(), POLLIN, 0};
        const Seconds left = picture_.interval * static_cast<double>(nextSlot_) - sinceStart();
        ::poll(sources.data(), sources.size(), static_cast<int>(std::max(0.0, left.count()) * 1000) + 1);
        if (sources[answers].revents != 0) takeAnswer();
        if (sources[keyboard].revents != 0) takeKeys((sources[keyboard].revents & POLLIN) != 0);
        if (sources[events].revents != 0) takeSignals();
    }

    void takeAnswer() {
        auto answer = feed_.take();
        if (!answer || picture_.choices.isPaused) return;
        isChanged_ = true;
        if (auto* error = std::get_if<HelperError>(&*answer)) {
            picture_.problem = error->message;
            picture_.silence = sinceStart() - latest_;
            return picture_.history.addGap();
        }
        picture_.problem.clear();
        auto& sight = std::get<SnapshotFeed::Sight>(*answer);
        picture_.reply = std::move(sight.reply);
        picture_.facts = std::move(sight.facts);
        picture_.isGraphicsCounted = sight.isGraphicsCounted;
        latest_ = sinceStart();
        const auto age = ageIfOld(picture_.reply->snapshot, usualInterval_, wallTimeNow());
        if (!age) return picture_.history.add(picture_.reply->snapshot);
        picture_.problem = said("the helper takes no new sample");
        picture_.silence = *age;
        picture_.history.addGap();
    }

    void takeKeys(bool areReadable) {
        auto key = screen_.key();
        if (!areReadable || !key) picture_.choices.isOver = true;  // the terminal is gone
        Actions actions(machine_, picture_.reply);
        for (; key; key = screen_.key()) {
            isChanged_ = true;
            if (key->key == Key::redraw) screen_.resume();
            press(*key, picture_.reply ? &*picture_.reply : nullptr, actions, picture_.choices);
        }
        const Seconds interval = usualInterval_ * static_cast<double>(picture_.choices.pace);
        if (interval != picture_.interval) beginAnew(interval);
    }

    /// Slots of another length have histories of their own.
    void beginAnew(Seconds interval) {
        picture_.interval = interval;
        picture_.history = {};
        recalled_ = 0;
        if (picture_.reply) picture_.history.add(picture_.reply->snapshot);
        start_ = MonotonicClock::now();
        latest_ = Seconds(0);
        nextSlot_ = 1;
    }

    void takeSignals() {
        while (const auto event = signals_.next()) {
            isChanged_ = true;
            switch (*event) {
                case Signals::Event::end:
                    picture_.choices.isOver = true;
                    break;
                case Signals::Event::resize:
                    screen_.resize();
                    break;
                case Signals::Event::suspend:
                    screen_.suspend();
                    signals_.stop();
                    [[fallthrough]];
                case Signals::Event::resume:
                    screen_.resume();
                    break;
            }
        }
    }

    const SettingsStore& settings_;
    const Seconds usualInterval_;
    ThisMachine machine_;
    MonotonicClock::time_point start_ = MonotonicClock::now();
    std::size_t nextSlot_ = 0;
    std::size_t recalled_ = 0;  // slots of the history from before the start
    Seconds latest_{0};         // when the latest sample came
    Picture picture_;
    bool isChanged_ = true;
    Signals& signals_;
    SnapshotFeed feed_;
    Screen& screen_;
};

}  // namespace

std::optional<HelperError> watch(std::uint16_t port, std::string_view root, const SettingsStore& settings,
                                 std::size_t rankingRows) {
    if (::isatty(STDIN_FILENO) != 1 || ::isatty(STDOUT_FILENO) != 1) {
        return HelperError{ExitStatus::failure, said("watch needs a terminal")};
    }
    Signals signals;
    const auto screen = Screen::open(wantsColour());
    if (!screen) {
        const char* type = std::getenv("TERM");
        return HelperError{
            ExitStatus::failure,
            said("watch does not know the terminal \"{}\"; TERM=xterm-256color may do", type ? type : "")};
    }
    Watch(port, root, settings, rankingRows, signals, *screen).run();
    return std::nullopt;
}

}  // namespace zqm
