#include "Platform/Linux/Hardware/CardSleep.h"

#include <algorithm>
#include <utility>

#include "Support/Text.h"

namespace zqm {
namespace {

constexpr const char* drm = "/sys/class/drm";
constexpr Seconds calm(3);  // without work, before a card is left alone

}  // namespace

CardSleep::CardSleep(const RootDirectory& root, std::string device, const std::string& drmName)
    : root_(root),
      device_(std::move(device)),
      displays_(drmName + "-"),
      status_(root.path(device_ + "/power/runtime_status")),
      control_(root.path(device_ + "/power/control")) {}

CardSleep::State CardSleep::state(MonotonicTime now) {
    if (trimWhitespace(status_.read().value_or("")).starts_with("suspend")) {  // "suspended" or "suspending"
        idleSince_.reset();
        restsUntil_.reset();
        return State::asleep;
    }
    return restsUntil_ && now < *restsUntil_ ? State::resting : State::awake;
}

CardSleep::State CardSleep::looked(bool isBusy, MonotonicTime now) {
    restsUntil_.reset();
    if (isBusy || !idleSince_) idleSince_ = now;
    if (isBusy || now - *idleSince_ < calm) return State::awake;
    if (!maySleep()) {
        idleSince_ = now;
        return State::awake;
    }
    restsUntil_ = now + rest();
    return State::resting;
}

bool CardSleep::maySleep() {
    return trimWhitespace(control_.read().value_or("")) == "auto" && !hasLitDisplay();
}

bool CardSleep::hasLitDisplay() const {
    const std::vector<std::string> displays = root_.names(drm, displays_);
    return std::any_of(displays.begin(), displays.end(), [&](const std::string& display) {
        const std::string directory = std::string(drm) + "/" + display;
        return root_.text(directory + "/enabled") == "enabled" && root_.text(directory + "/dpms") == "On";
    });
}

/// Longer than the kernel waits, whose timer may be late by a quarter, and the falling asleep itself.
Seconds CardSleep::rest() const {
    constexpr double millisecondsPerSecond = 1000;
    constexpr Seconds usual(10), most(60), margin(2);  // drivers that keep the time themselves tell no delay
    const auto delay = root_.number(device_ + "/power/autosuspend_delay_ms");
    const Seconds waits = delay ? Seconds(static_cast<double>(*delay) / millisecondsPerSecond) : usual;
    return std::min(waits, most) * 1.25 + margin;
}

}  // namespace zqm
