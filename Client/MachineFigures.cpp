#include "Client/MachineFigures.h"

#include <cmath>

#include "Support/Saturated.h"

namespace zqm {
namespace {

constexpr Seconds factsLast{10};
constexpr std::size_t mostDevices = 1024;

/// To the second, and the same as long as nobody sets the clock: each change would look like another start.
WallTime bootTime(WallTime now, Seconds uptime, const std::optional<WallTime>& before) {
    const WallTime boot = now - uptime;
    if (before && std::abs((boot - *before).count()) < 2) return *before;
    return WallTime(Seconds(std::round(boot.time_since_epoch().count())));
}

}  // namespace

std::uint64_t SteadyCounters::steady(const std::string& device, std::uint64_t bytes) {
    if (counts_.size() >= mostDevices && !counts_.contains(device)) counts_.clear();  // no machine has so many
    Count& count = counts_[device];
    if (bytes < count.last) count.before = addSaturated(count.before, count.last);
    count.last = bytes;
    return addSaturated(count.before, bytes);
}

std::optional<MachineFigures> MachineFiguresReader::look(const SystemSnapshot& sample) {
    if (!factsAt_ || clock_.monotonic() - *factsAt_ >= factsLast) readFacts(sample);
    if (!details_) return std::nullopt;
    figures_.drives = details_->drives();
    for (DriveReading& drive : figures_.drives) {
        drive.read = counters_.steady("read " + drive.name, drive.read);
        drive.written = counters_.steady("written " + drive.name, drive.written);
    }
    figures_.interfaces = details_->interfaces();
    for (InterfaceReading& interface : figures_.interfaces) {
        interface.received = counters_.steady("received " + interface.name, interface.received);
        interface.sent = counters_.steady("sent " + interface.name, interface.sent);
    }
    return figures_;
}

void MachineFiguresReader::readFacts(const SystemSnapshot& sample) {
    factsAt_ = clock_.monotonic();
    details_ = machine_.detailsBeside(sample);
    auto facts = machine_.factsBeside(sample);
    figures_.facts = facts ? std::move(*facts) : MachineFacts{};
    if (details_) {
        figures_.facts.temperatures = details_->temperatures();
        figures_.facts.fans = details_->fans();
    }
    if (const auto uptime = figures_.facts.uptime) {
        figures_.bootTime = bootTime(clock_.wall(), *uptime, figures_.bootTime);
    }
}

}  // namespace zqm
