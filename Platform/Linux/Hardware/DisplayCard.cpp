#include "Platform/Linux/Hardware/DisplayCard.h"

#include <algorithm>

#include "Platform/Linux/Kernel/Assignments.h"
#include "Platform/Linux/Kernel/KernelText.h"
#include "Support/Text.h"

namespace zqm {

DisplayCard::DisplayCard(const RootDirectory& root, const std::string& name)
    : root_(root),
      directory_("/sys/class/drm/" + name),
      sensors_(root, directory_ + "/device"),
      busyPercent_(root.path(directory_ + "/device/gpu_busy_percent")),
      levels_(root.path(directory_ + "/device/pp_dpm_sclk")),
      engines_(makeEngines()),
      isIntegrated_(findIntegrated()) {}

/// i915 has "gt/gtN" (before Linux 5.19 the card itself stands for the only one), xe "device/tileN/gtM".
std::vector<DisplayCard::Engine> DisplayCard::makeEngines() const {
    std::vector<Engine> engines;
    auto add = [&](const std::string& clock, const std::string& idle) {
        if (!root_.exists(clock)) return;
        engines.push_back({.megahertz = KernelFile(root_.path(clock)), .idleTime = KernelFile(root_.path(idle))});
    };
    for (const std::string& gt : root_.names(directory_ + "/gt", "gt")) {
        add(directory_ + "/gt/" + gt + "/rps_act_freq_mhz", directory_ + "/gt/" + gt + "/rc6_residency_ms");
    }
    if (engines.empty()) add(directory_ + "/gt_act_freq_mhz", directory_ + "/power/rc6_residency_ms");
    for (const std::string& tile : root_.names(directory_ + "/device", "tile")) {
        const std::string tileDirectory = directory_ + "/device/" + tile + "/";
        for (const std::string& gt : root_.names(tileDirectory, "gt")) {
            add(tileDirectory + gt + "/freq0/act_freq", tileDirectory + gt + "/gtidle/idle_residency_ms");
        }
    }
    return engines;
}

/// AMD's later ones stand on a bus of their own, as cards do: their chips tell, or the little memory that the firmware
/// sets aside, which may be as much as a card has. All others have their place on the bus of the chipset; elsewhere on
/// it stand the cards that a virtual machine was given. Which one shows the firmware's screen (boot_vga) says nothing.
bool DisplayCard::findIntegrated() const {
    const std::string device = directory_ + "/device";
    constexpr std::uint64_t leastOfCards = std::uint64_t{1} << 30;
    if (sensors_.hasNorthbridge()) return true;
    if (const auto memory = root_.number(device + "/mem_info_vram_total")) return *memory < leastOfCards;
    const auto address = assigned(root_.text(device + "/uevent").value_or(""), "PCI_SLOT_NAME");
    return address == "0000:00:02.0" || address == "0000:00:01.0";  // Intel's, AMD's
}

GraphicsReading DisplayCard::read(MonotonicTime now) {
    GraphicsReading reading;
    reading.isIntegrated = isIntegrated_;
    if (engines_.empty()) {
        const auto percent = readCount(busyPercent_);
        if (percent && *percent <= 100) reading.busy = static_cast<double>(*percent) / 100;
        readClock(reading);
    } else {
        readEngines(reading);
    }
    reading.mostMegahertz = mostMegahertz_;
    reading.celsius = sensors_.celsius();
    readPower(reading, now);
    return reading;
}

GraphicsReading DisplayCard::readAsleep() {
    sensors_.restartEnergy();
    GraphicsReading reading;
    reading.isIntegrated = isIntegrated_;
    reading.busy = 0;
    reading.mostMegahertz = mostMegahertz_;
    return reading;
}

void DisplayCard::readEngines(GraphicsReading& reading) {
    constexpr double millisecondsPerSecond = 1000;
    for (Engine& engine : engines_) {
        if (const auto megahertz = readMegahertz(engine.megahertz, 1)) {
            reading.megahertz = std::max(reading.megahertz.value_or(0), *megahertz);
        }
        const auto idle = readCount(engine.idleTime);
        reading.idleSeconds.push_back(idle ? std::optional(static_cast<double>(*idle) / millisecondsPerSecond)
                                           : std::nullopt);
    }
    for (const char* limit : {"/gt_RP0_freq_mhz", "/device/tile0/gt0/freq0/rp0_freq"}) {
        if (!mostMegahertz_) mostMegahertz_ = toMegahertz(root_.number(directory_ + limit));
    }
}

/// The marked level, unless the clock that is measured lies beyond its neighbours: some cards rest between two pictures
/// far below their lowest level and mark that.
void DisplayCard::readClock(GraphicsReading& reading) {
    std::optional<double> marked;
    std::vector<double> clocks;
    for (const Level& level : readLevels()) {
        clocks.push_back(level.megahertz);
        if (level.isMarked) marked = level.megahertz;
    }
    std::sort(clocks.begin(), clocks.end());
    if (!clocks.empty()) mostMegahertz_ = clocks.back();
    const auto measured = sensors_.megahertz();
    const auto isLikely = [&] {
        const auto [first, last] = std::equal_range(clocks.begin(), clocks.end(), *marked);
        const double below = first == clocks.begin() ? *marked : *std::prev(first);
        const double above = last == clocks.end() ? *marked : *last;
        return *measured >= below && *measured <= above;
    };
    isClockMeasured_ = measured && (!marked || !isLikely());
    reading.megahertz = isClockMeasured_ ? measured : marked;
}

std::vector<DisplayCard::Level> DisplayCard::readLevels() {
    std::vector<Level> levels;
    std::string_view rest = levels_.read().value_or("");
    while (auto line = takeLine(rest)) {
        takeUntil(*line, ':');
        const std::string_view frequency = takeWord(*line);
        const auto unit = frequency.find_first_not_of("0123456789");
        if (unit == std::string_view::npos || !frequency.substr(unit).starts_with("Mhz")) continue;
        const auto megahertz = toMegahertz(parseUnsigned(frequency.substr(0, unit)));
        if (megahertz) levels.push_back({*megahertz, takeWord(*line) == "*"});
    }
    return levels;
}

void DisplayCard::readPower(GraphicsReading& reading, MonotonicTime now) {
    (tellsPackage() ? reading.packageWatts : reading.watts) = sensors_.watts();
    if (!tellsPackage() && !reading.watts) reading.millijoules = sensors_.millijoules(now);
}

const KernelFile* DisplayCard::file(MetricFamily family) const {
    using enum MetricFamily;
    if (family == gpuUtilization) return engines_.empty() ? &busyPercent_ : &engines_[0].idleTime;
    if (family == gpuFrequency && !engines_.empty()) return &engines_[0].megahertz;
    if (family == gpuFrequency && !isClockMeasured_) return &levels_;
    if (family == cpuPower) return tellsPackage() ? sensors_.file(gpuPower) : nullptr;
    return family == gpuPower && tellsPackage() ? nullptr : sensors_.file(family);
}

}  // namespace zqm
