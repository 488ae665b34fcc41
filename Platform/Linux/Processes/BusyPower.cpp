#include "Platform/Linux/Processes/BusyPower.h"

#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <string_view>
#include <utility>

#include "Platform/Linux/Kernel/KernelText.h"
#include "Support/Saturated.h"
#include "Support/Text.h"

namespace zqm {
namespace {

constexpr Seconds shortestInterval{0.1};  // the kernel counts busy time in ticks of 10 ms

}  // namespace

BusyPower::BusyPower(const RootDirectory& root, PackageEnergySource energy)
    : root_(root), energy_(std::move(energy)), statistics_(root.path("/proc/stat")) {}

double BusyPower::update(MonotonicTime now, Seconds seenTime) {
    if (!energy_ || (last_ && now - last_->time < shortestInterval)) return 0;
    Reading fresh{.time = now, .millijoules = energy_(), .busy = std::nullopt};
    if (fresh.millijoules) fresh.busy = busyTime();
    const auto before = std::exchange(last_, fresh);
    if (!before || !before->busy || !fresh.busy) return 0;
    const Seconds interval = now - before->time;
    const double joules = (*fresh.millijoules - *before->millijoules) / 1000;
    if (!(joules > 0) || !std::isfinite(joules)) return 0;  // a counter that was set back tells no floor either
    floor_ = std::min(floor_, joules / interval.count());
    const Seconds busy = std::max(*fresh.busy - *before->busy, seenTime);
    return busy > Seconds(0) ? (joules - floor_ * interval.count()) / busy.count() : 0;
}

/// Of all processors; nullopt where a container shows its own in place of the machine's.
std::optional<Seconds> BusyPower::busyTime() {
    std::string_view rest = statistics_.read().value_or("");
    if (root_.isThisMachine() && !statistics_.isOfKernel()) return std::nullopt;
    auto line = takeLine(rest);
    if (!line || takeWord(*line) != "cpu") return std::nullopt;
    const auto user = takeCount(*line);  // guests included
    const auto nice = takeCount(*line);
    const auto system = takeCount(*line);
    skipFields(*line, 2);  // idle, iowait
    const auto interrupts = takeCount(*line);
    const auto softInterrupts = takeCount(*line);
    if (!user || !nice || !system || !interrupts || !softInterrupts) return std::nullopt;
    const auto ticks = static_cast<double>(addSaturated(*user, *nice, *system, *interrupts, *softInterrupts));
    return Seconds(ticks / static_cast<double>(std::max(1L, ::sysconf(_SC_CLK_TCK))));
}

}  // namespace zqm
