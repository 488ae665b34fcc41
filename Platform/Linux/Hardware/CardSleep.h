#pragma once

#include <optional>
#include <string>

#include "Platform/Linux/Kernel/KernelFile.h"
#include "Platform/Linux/Kernel/RootDirectory.h"
#include "Platform/Process/Clock.h"

namespace zqm {

/// Says when a graphics card may be asked, so that it can fall asleep. One thread at a time.
///
/// A question wakes a card that sleeps, and the kernel puts a card to sleep only when nobody has asked it anything for
/// autosuspend_delay_ms. One that may sleep (power/control is "auto", no lit display) and has had nothing to do for
/// some seconds is therefore left alone for longer than that. If it is awake still, it is looked at once, and so on.
/// What starts meanwhile is seen that much later.
class CardSleep {
public:
    enum class State { asleep, resting, awake };

    /// `device` is the card's directory below the root; its displays are the entries of /sys/class/drm that begin with
    /// its name there and a hyphen.
    CardSleep(const RootDirectory& root, std::string device, const std::string& drmName);

    /// Whether it sleeps (by runtime_status, which is all that is read), is to be left alone, or may be asked.
    State state(MonotonicTime now);
    /// Takes what a look at a card that is awake has shown; the answer is whether it is left alone from now on.
    State looked(bool isBusy, MonotonicTime now);

private:
    bool maySleep();
    bool hasLitDisplay() const;
    Seconds rest() const;

    const RootDirectory& root_;
    std::string device_, displays_;
    KernelFile status_, control_;
    std::optional<MonotonicTime> idleSince_, restsUntil_;
};

}  // namespace zqm
