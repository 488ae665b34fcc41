#include "Platform/Linux/Hardware/GraphicsCards.h"

#include <algorithm>
#include <utility>

#include "Platform/Linux/Kernel/KernelText.h"
#include "Support/Text.h"

namespace zqm {
namespace {

const std::string cardDirectory = "/sys/class/drm";
const std::string nvidiaDirectory = "/sys/bus/pci/drivers/nvidia";
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
    std::string_view frequency = takeWord(line);
    const auto unit = frequency.find_first_not_of("0123456789");
    if (unit == std::string_view::npos || !frequency.substr(unit).starts_with("Mhz")) return std::nullopt;
    const auto megahertz = plausible(parseUnsigned(frequency.substr(0, unit)));
    if (!megahertz) return std::nullopt;
    return Level{*megahertz, takeWord(line) == "*"};
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
    std::vector<GraphicsReading> readings;
    for (Card& card : cards_) readings.push_back(readCard(card));
    return readings;
}

void GraphicsCards::discover() {
    if (!discovery_.isDue(clock_.monotonic())) return;
    std::vector<std::string> names = root_.names(cardDirectory, "card");
    std::erase_if(names, [](const std::string& name) { return !isCardName(name); });
    const std::vector<std::string> addresses = root_.names(nvidiaDirectory, "");
    std::copy_if(addresses.begin(), addresses.end(), std::back_inserter(names),
                 [](const std::string& name) { return name.find(':') != std::string::npos; });
    if (names == names_) return;
    names_ = names;
    cards_.clear();
    for (const std::string& name : names) cards_.push_back(makeCard(name));
}

GraphicsCards::Card GraphicsCards::makeCard(const std::string& name) const {
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
            .mostMegahertz = isNvidia ? std::nullopt : mostMegahertz(cardDirectory + "/" + name),
            .isNvidia = isNvidia};
}

/// i915 has "gt/gtN" (before Linux 5.19 the card itself stands for the only one), xe "device/tileN/gtM".
std::vector<GraphicsCards::Engine> GraphicsCards::makeEngines(const std::string& directory) const {
    std::vector<Engine> engines;
    auto add = [&](const std::string& clock, const std::string& idle) {
        if (!root_.exists(clock)) return;
        engines.push_back({.megahertz = KernelFile(root_.path(clock)), .idleTime = KernelFile(root_.path(idle))});
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

std::optional<double> GraphicsCards::mostMegahertz(const std::string& card) const {
    std::uint64_t most = 0;
    const std::string levels = root_.text(card + "/device/pp_dpm_sclk").value_or("");
    std::string_view rest = levels;
    while (!rest.empty()) {
        if (const auto level = parseLevel(takeUntil(rest, '\n'))) most = std::max(most, level->megahertz);
    }
    for (const char* limit : {"/gt_RP0_freq_mhz", "/device/tile0/gt0/freq0/rp0_freq"}) {
        most = std::max(most, plausible(root_.number(card + limit)).value_or(0));
    }
    return most > 0 ? std::optional(static_cast<double>(most)) : std::nullopt;
}

GraphicsReading GraphicsCards::readCard(Card& card) {
    GraphicsReading reading;
    reading.name = card.name;
    reading.mostMegahertz = card.mostMegahertz;
    const std::string_view state = trimWhitespace(card.powerState.read().value_or(""));
    if (state.starts_with("suspend")) {  // "suspended" or "suspending"
        reading.busy = 0;
        return reading;
    }
    if (card.isNvidia) {
        readNvidia(card, reading);
        return reading;
    }
    readEngines(card, reading);
    if (!card.engines.empty()) return reading;
    if (const auto percent = readNumber(card.busyPercent); percent && *percent <= 100) {
        reading.busy = static_cast<double>(*percent) / 100;
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

void GraphicsCards::readNvidia(Card& card, GraphicsReading& reading) {
    const NvidiaReading told = nvidia_.read(card.name);
    if (!card.mostMegahertz) card.mostMegahertz = nvidia_.mostMegahertz(card.name);  // it slept until now
    if (told.busyPercent) reading.busy = *told.busyPercent / 100;
    reading.megahertz = told.megahertz;
    reading.mostMegahertz = card.mostMegahertz;
    reading.celsius = told.celsius;
}

void GraphicsCards::readEngines(Card& card, GraphicsReading& reading) {
    constexpr double millisecondsPerSecond = 1000;
    for (Engine& engine : card.engines) {
        if (const auto megahertz = plausible(readNumber(engine.megahertz))) {
            reading.megahertz = std::max(reading.megahertz.value_or(0), static_cast<double>(*megahertz));
        }
        const auto idle = readNumber(engine.idleTime);
        reading.idleSeconds.push_back(idle ? std::optional(static_cast<double>(*idle) / millisecondsPerSecond)
                                           : std::nullopt);
    }
}

SourceDescription GraphicsCards::describe(MetricFamily family) {
    MutexLock lock(mutex_);
    discover();
    const bool isUse = family == MetricFamily::gpuUtilization;
    std::optional<SourceDescription> failed;
    for (const Card& card : cards_) {
        const auto tell = [&]() {
            if (card.isNvidia) return root_.describe(card.powerState);  // of the library's card
            if (!card.engines.empty())
                return root_.describe(isUse ? card.engines[0].idleTime : card.engines[0].megahertz);
            if (isUse) return root_.describe(card.busyPercent);
            const SourceDescription levels = root_.describe(card.levels);
            return levels.absence.empty() ? levels : root_.describe(card.hertz);
        };
        SourceDescription source = tell();
        if (source.absence.empty()) return source;
        if (!failed) failed = std::move(source);
    }
    return failed.value_or(SourceDescription{cardDirectory + "/card*", "no card whose driver tells"});
}

}  // namespace zqm
