#include "Client/BarFollow.h"

#include <poll.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cmath>
#include <utility>

#include "Client/Terminal.h"
#include "Client/Units.h"

namespace zqm {
namespace {

/// When to ask again, so that a sample is seen soon after the helper publishes it with few questions in between: the
/// question comes earlier from sample to sample until it finds none new, and is then repeated, ever more rarely in case
/// the helper samples more rarely than the preferences say now.
class Pace {
public:
    explicit Pace(Seconds interval)
        : interval_(std::max(interval, Seconds(0.05))), nudge_(std::clamp(interval_ / 50, Seconds(0.005), longest)) {}

    Seconds pauseAfter(bool isNewSample) {
        const Seconds now = std::chrono::steady_clock::now().time_since_epoch();
        if (isNewSample) {
            due_ = isFirst_ ? now : now + interval_ - (wasAwaited_ ? Seconds::zero() : nudge_);
            isFirst_ = wasAwaited_ = false;
        } else {
            wasAwaited_ |= now >= due_;
        }
        return now < due_ ? std::min(due_ - now, longest) : std::clamp((now - due_) / 8, nudge_, longest);
    }

private:
    static constexpr Seconds longest{5};  // after which a helper that went away is noticed

    Seconds interval_;
    Seconds nudge_;
    Seconds due_{0};
    bool isFirst_ = true;
    bool wasAwaited_ = false;
};

/// Whole lines are written at once and nothing is left to give back: ending at once is ending cleanly.
void endAtSignals() {
    for (const int sign : {SIGTERM, SIGINT, SIGHUP}) {
        if (::signal(sign, SIG_IGN) != SIG_IGN) ::signal(sign, [](int) { ::_exit(0); });
    }
}

/// Waits, less long when standard output loses its reader: true then.
bool isReaderGoneAfter(Seconds time) {
    pollfd output{STDOUT_FILENO, 0, 0};
    return ::poll(&output, 1, static_cast<int>(std::ceil(time.count() * 1000))) > 0;
}

}  // namespace

ExitStatus followBar(const HelperClient& helper, BarWriter& writer, const Preferences& preferences) {
    constexpr Seconds absencePause{1};
    endAtSignals();
    std::shared_ptr<const SettingsStore> settings;
    std::optional<Pace> pace;
    constexpr WallTime none = WallTime::min();
    WallTime shown = none;
    std::string shownAge;
    std::string problem;
    for (;;) {
        const auto before = std::exchange(settings, preferences());
        const bool areOthers = settings != before;
        const Seconds interval(settings->updateInterval());
        if (areOthers) pace.emplace(interval);
        const auto reply = helper.snapshot();
        std::string line;
        Seconds pause = absencePause;
        if (const auto* error = std::get_if<HelperError>(&reply)) {
            if (areOthers || problem != error->message) line = writer.line(*error);
            problem = error->message;
            shown = none;
        } else {
            const SystemSnapshot& snapshot = std::get<SnapshotReply>(reply).snapshot;
            const WallTime now = wallTimeNow();
            const auto age = ageIfOld(snapshot, interval, now);
            const std::string ageText = age ? spanText(*age) : "";
            const bool isNew = shown != snapshot.timestamp;
            if (areOthers || isNew || shownAge != ageText) line = writer.line(snapshot, *settings, now);
            shown = snapshot.timestamp;
            shownAge = ageText;
            problem.clear();
            pause = pace->pauseAfter(isNew);
        }
        if (!line.empty() && !printOut(line)) return errno == EPIPE ? ExitStatus::success : ExitStatus::failure;
        if (isReaderGoneAfter(pause)) return ExitStatus::success;
    }
}

}  // namespace zqm
