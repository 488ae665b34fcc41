#include "Platform/Linux/Hardware/GraphicsCards.h"

#include <algorithm>
#include <utility>

#include "Platform/Linux/Kernel/KernelText.h"
#include "Support/Text.h"

namespace zqm {
namespace {

const std::string cardDirectory = "/sys/class/drm";
const std::string nvidiaDirectory = "/sys/bus/pci/drivers/nvidia";
constexpr std::uint32_t kilohertzPerMegahertz = 1000;
constexpr std::uint64_t plausibleMegahertz = 100'000;

std::optional<std::uint64_t> readNumber(KernelFile& file) {
    std::string_view rest = file.read().value_or("");
    auto line = takeLine(rest);
    return line ? takeCount(*line) : std::nullopt;
}

std::optional<std::uint64_t> plausible(std::optional<std::uint64_t> megahertz) {
    return megahertz && *megahertz < plausibleMegahertz ? megahertz : std::nullopt;
}

/// "1: 789Mhz *" as its frequency; nullopt when the line is another.
struct Level {
    std::uint64_t megahertz = 0;
    bool isPresent = false;
};
std::optional<Level> parseLevel(std::string_view line) {
    takeUntil(line, ':');
    std::string_view frequency = takeField(line);
    const auto unit = frequency.find_first_not_of("0123456789");
    if (unit == std::string_view::npos || !frequency.substr(unit).starts_with("Mhz")) return std::nullopt;
    const auto megahertz = plausible(parseUnsigned(frequency.substr(0, unit)));
    if (!megahertz) return std::nullopt;
    return Level{*megahertz, takeField(line) == "*"};
}

/// "card0", but not its connector "card0-DP-1".
bool isCardName(std::string_view name) {
    return name.size() > 4 && name.substr(4).find_first_not_of("0123456789") == std::string_view::npos;
}

}  // namespace

GraphicsCards::GraphicsCards(const RootDirectory& root, Clock& clock, std::string nvidiaLibrary)
    : root_(root), clock_(clock), nvidia_(std::move(nvidiaLibrary)) {}

std::vector<GraphicsReading> GraphicsCards::read() {
    MutexLock lock(mutex_);
    discover();
    const MonotonicTime now = clock_.monotonic();
    if (!reading_.isDue(now)) return readings_;
    readings_.clear();
    for (Card& card : cards_) readings_.push_back(readCard(card, now));
    return readings_;
}

ClockSteps GraphicsCards::steps() {
    MutexLock lock(mutex_);
    discover();
    return steps_;
}

void GraphicsCards::discover() {
    if (!discovery_.isDue(clock_.monotonic())) return;
    std::vector<std::string> names = root_.names(cardDirectory, "card");
    std::erase_if(names, [](const std::string& name) { return !isCardName(name); });
    const std::vector<std::string> addresses = root_.names(nvidiaDirectory, "");
    std::copy_if(addresses.begin(), addresses.end(), std::back_inserter(names),
                 [](const std::string& name) { return name.find(':') != std::string::npos; });
    // The counters of idle time go on as long as the cards are the same.
    if (names == names_) return;
    names_ = names;
    cards_.clear();
    reading_.expire();
    for (const std::string& name : names) cards_.push_back(makeCard(name));
    if (steps_.empty()) settleSteps();
}

GraphicsCards::Card GraphicsCards::makeCard(const std::string& name) {
    const bool isNvidia = name.find(':') != std::string::npos;
    const std::string directory = isNvidia ? nvidiaDirectory + "/" + name : cardDirectory + "/" + name + "/device";
    std::string hwmon = directory;
    for (const std::string& chip : root_.names(directory + "/hwmon", "hwmon")) hwmon = directory + "/hwmon/" + chip;
    return {.name = name,
            .powerState = KernelFile(root_.path(directory + "/power/runtime_status")),
            .busyPercent = KernelFile(root_.path(directory + "/gpu_busy_percent")),
            .levels = KernelFile(root_.path(directory + "/pp_dpm_sclk")),
            .hertz = KernelFile(root_.path(hwmon + "/freq1_input")),
            .engines = isNvidia ? std::vector<Engine>{} : makeEngines(cardDirectory + "/" + name),
            .isNvidia = isNvidia};
}

/// i915 has "gt/gtN" (before Linux 5.19 the card itself stands for the only one), xe "device/tileN/gtM".
std::vector<GraphicsCards::Engine> GraphicsCards::makeEngines(const std::string& directory) {
    std::vector<Engine> engines;
    auto add = [&](const std::string& clock, const std::string& idle) {
        if (!root_.exists(clock)) return;
        engines.push_back(
            {.megahertz = KernelFile(root_.path(clock)), .idleTime = KernelFile(root_.path(idle)), .lastIdle = {}});
    };
    for (const std::string& gt : root_.names(directory + "/gt", "gt")) {
        add(directory + "/gt/" + gt + "/rps_act_freq_mhz", directory + "/gt/" + gt + "/rc6_residency_ms");
    }
    if (engines.empty()) add(directory + "/gt_act_freq_mhz", directory + "/power/rc6_residency_ms");
    for (const std::string& tile : root_.names(directory + "/device", "tile")) {
        const std::string tileDirectory = directory + "/device/" + tile + "/";
        for (const std::string& gt : root_.names(tileDirectory, "gt")) {
            add(tileDirectory + gt + "/freq0/act_freq", tileDirectory + gt + "/gtidle/idle_residency_ms");
        }
    }
    return engines;
}

void GraphicsCards::settleSteps() {
    for (const Card& card : cards_) {
        if (!card.isNvidia) {
            addSteps(cardDirectory + "/" + card.name);
        } else if (root_.text(nvidiaDirectory + "/" + card.name + "/power/runtime_status") != "suspended") {
            const auto most = plausible(nvidia_.mostMegahertz(card.name));
            if (most) steps_.push_back(static_cast<std::uint32_t>(*most) * kilohertzPerMegahertz);
        }
    }
    if (steps_.empty()) return;
    // Clocks run below their lowest level when there is little to do: the first step leaves room for that.
    steps_.push_back(kilohertzPerMegahertz);
    std::sort(steps_.begin(), steps_.end());
    steps_.erase(std::unique(steps_.begin(), steps_.end()), steps_.end());
}

void GraphicsCards::addSteps(const std::string& card) {
    std::vector<std::optional<std::uint64_t>> found;  // MHz
    const std::string levels = root_.text(card + "/device/pp_dpm_sclk").value_or("");
    std::string_view rest = levels;
    while (!rest.empty()) {
        if (const auto level = parseLevel(takeUntil(rest, '\n'))) found.emplace_back(level->megahertz);
    }
    for (const char* limit : {"/gt_RPn_freq_mhz", "/gt_RP0_freq_mhz", "/device/tile0/gt0/freq0/rpn_freq",
                              "/device/tile0/gt0/freq0/rp0_freq"}) {
        found.push_back(root_.number(card + limit));
    }
    for (const auto& megahertz : found) {
        if (!plausible(megahertz) || *megahertz == 0) continue;
        steps_.push_back(static_cast<std::uint32_t>(*megahertz) * kilohertzPerMegahertz);
    }
}

GraphicsReading GraphicsCards::readCard(Card& card, MonotonicTime now) {
    GraphicsReading reading;
    reading.name = card.name;
    const std::string_view state = trimWhitespace(card.powerState.read().value_or(""));
    if (state.starts_with("suspend")) {  // "suspended" or "suspending"
        reading.busyPercent = 0;
        return reading;
    }
    if (card.isNvidia) {
        const NvidiaReading told = nvidia_.read(card.name);
        reading.busyPercent = told.busyPercent;
        reading.megahertz = told.megahertz;
        reading.celsius = told.celsius;
        return reading;
    }
    readEngines(card, now, reading);
    if (!card.engines.empty()) return reading;
    if (const auto percent = readNumber(card.busyPercent); percent && *percent <= 100) {
        reading.busyPercent = static_cast<double>(*percent);
    }
    std::string_view rest = card.levels.read().value_or("");
    while (auto line = takeLine(rest)) {
        const auto level = parseLevel(*line);
        if (level && level->isPresent) reading.megahertz = static_cast<double>(level->megahertz);
    }
    if (reading.megahertz) return reading;
    constexpr double hertzPerMegahertz = 1e6;
    const auto hertz = readNumber(card.hertz);
    if (hertz && plausible(*hertz / 1'000'000)) {
        reading.megahertz = static_cast<double>(*hertz) / hertzPerMegahertz;
    }
    return reading;
}

/// The fastest clock and the busiest part. A part is busy when it is not idle, which is known once its counter of idle
/// time has moved: with the idle states switched off it stands still for ever.
void GraphicsCards::readEngines(Card& card, MonotonicTime now, GraphicsReading& reading) {
    for (Engine& engine : card.engines) {
        if (const auto megahertz = plausible(readNumber(engine.megahertz))) {
            reading.megahertz = std::max(reading.megahertz.value_or(0), static_cast<double>(*megahertz));
        }
        const auto idle = readNumber(engine.idleTime);
        const auto lastIdle = std::exchange(engine.lastIdle, idle);
        const double milliseconds = (now - std::exchange(engine.lastTime, now)).count() * 1000;
        if (!idle || !lastIdle || *idle < *lastIdle || milliseconds <= 0) continue;
        engine.hasMoved = engine.hasMoved || *idle > *lastIdle;
        if (!engine.hasMoved) continue;
        const double idleShare = std::min(static_cast<double>(*idle - *lastIdle) / milliseconds, 1.0);
        reading.busyPercent = std::max(reading.busyPercent.value_or(0), 100 * (1 - idleShare));
    }
}

}  // namespace zqm
