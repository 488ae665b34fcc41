#include "Client/BarSegments.h"

#include <algorithm>
#include <array>
#include <set>

#include "Client/Terminal.h"
#include "Client/Texts.h"
#include "Client/Units.h"

namespace zqm {
namespace {

using Figure = std::optional<BarFigure>;

/// Of what figures usually take at most, in columns.
constexpr std::size_t percentColumns = 4;
constexpr std::size_t frequencyColumns = 8;
constexpr std::size_t rateColumns = 9;
constexpr std::size_t wattsColumns = 6;

std::string padded(const std::string& text, std::size_t columns) {
    std::string result;
    for (std::size_t used = columnsOf(text); used < columns; ++used) result += figureSpace;
    return result + text;
}

std::string temperatureDetail(double celsius, const SettingsStore& settings) {
    return celsius > 0 ? temperatureText(celsius, settings.tempUnit()) : std::string();
}

std::string paddedRate(double bytesPerSecond) {
    return padded(rateText(bytesPerSecond), rateColumns);
}

BarFigure share(std::string_view name, double fraction, Level level, std::string detail = {}) {
    return {padded(percentText(fraction), percentColumns), {{name, fraction}}, level, fraction, std::move(detail)};
}

BarFigure frequency(std::string_view name, double megahertz, FreqUnit unit, std::string detail = {}) {
    return {padded(frequencyText(megahertz, unit), frequencyColumns),
            {{name, megahertz}},
            Level::normal,
            std::nullopt,
            std::move(detail)};
}

Figure loadIndex(const SystemSnapshot& snapshot, const SettingsStore&, const Levels& levels) {
    return share("value", snapshot.load.value, levels.of(Aspect::load));
}

Figure cpuUsage(const SystemSnapshot& snapshot, const SettingsStore& settings, const Levels& levels) {
    const CPUMetrics& cpu = snapshot.cpu;
    if (cpu.perCoreUsage.empty()) return std::nullopt;
    return share("totalUsage", cpu.totalUsage, std::max(levels.of(Aspect::cpu), levels.of(Aspect::cpuHeat)),
                 temperatureDetail(cpu.temperatureC, settings));
}

Figure cpuFreq(const SystemSnapshot& snapshot, const SettingsStore& settings, const Levels&) {
    const double efficiency = snapshot.cpu.efficiencyFreqMHz;
    const double performance = snapshot.cpu.performanceFreqMHz;
    if (efficiency <= 0 && performance <= 0) return std::nullopt;
    const FreqUnit unit = settings.freqUnit();
    if (performance <= 0) return frequency("efficiencyFreqMHz", efficiency, unit);
    return frequency("performanceFreqMHz", performance, unit,
                     efficiency > 0 ? "E " + frequencyText(efficiency, unit) : std::string());
}

Figure gpuUsage(const SystemSnapshot& snapshot, const SettingsStore& settings, const Levels& levels) {
    const GPUMetrics& gpu = snapshot.gpu;
    if (!hasGraphics(gpu)) return std::nullopt;
    return share("utilization", gpu.utilization, std::max(levels.of(Aspect::gpu), levels.of(Aspect::gpuHeat)),
                 temperatureDetail(gpu.temperatureC, settings));
}

Figure gpuFreq(const SystemSnapshot& snapshot, const SettingsStore& settings, const Levels&) {
    const GPUMetrics& gpu = snapshot.gpu;
    if (gpu.frequencyMHz <= 0 && gpu.maxFrequencyMHz <= 0) return std::nullopt;
    const std::string most = gpu.maxFrequencyMHz > 0 ? frequencyText(gpu.maxFrequencyMHz, settings.freqUnit()) : "";
    return frequency("frequencyMHz", gpu.frequencyMHz, settings.freqUnit(), most.empty() ? most : "≤ " + most);
}

Figure memoryUsage(const SystemSnapshot& snapshot, const SettingsStore&, const Levels& levels) {
    if (snapshot.memory.totalBytes == 0) return std::nullopt;
    const auto bytes = [](std::uint64_t count) { return bytesText(static_cast<double>(count)); };
    return share("usage", usedShare(snapshot.memory), levels.of(Aspect::memory),
                 bytes(snapshot.memory.usedBytes) + " / " + bytes(snapshot.memory.totalBytes));
}

Figure network(const SystemSnapshot& snapshot, const SettingsStore&, const Levels&) {
    const NetworkMetrics& network = snapshot.network;
    const auto total = [](std::uint64_t bytes) { return bytesText(static_cast<double>(bytes)); };
    return BarFigure{"↓" + paddedRate(network.downloadBytesPerSecond) + " ↑" + paddedRate(network.uploadBytesPerSecond),
                     {{"downloadBytesPerSecond", network.downloadBytesPerSecond},
                      {"uploadBytesPerSecond", network.uploadBytesPerSecond}},
                     Level::normal,
                     std::nullopt,
                     "↓" + total(network.totalDownloaded) + " ↑" + total(network.totalUploaded)};
}

Figure disk(const SystemSnapshot& snapshot, const SettingsStore&, const Levels&) {
    const DiskMetrics& disk = snapshot.disk;
    return BarFigure{
        said("R {}", paddedRate(disk.readBytesPerSecond)) + ' ' + said("W {}", paddedRate(disk.writeBytesPerSecond)),
        {{"readBytesPerSecond", disk.readBytesPerSecond}, {"writeBytesPerSecond", disk.writeBytesPerSecond}}};
}

Figure power(const SystemSnapshot& snapshot, const SettingsStore&, const Levels&) {
    const PowerMetrics& power = snapshot.power;
    const bool isWhole = power.systemWatts > 0;
    const double watts = wholeWatts(power);
    if (watts <= 0) return std::nullopt;
    std::string parts;
    for (const auto& [name, part] : {std::pair{"CPU ", power.cpuWatts}, {"GPU ", power.gpuWatts}}) {
        if (part > 0) parts += (parts.empty() ? "" : " ") + (name + wattsText(part));
    }
    return BarFigure{padded(wattsText(watts), wattsColumns),
                     {{isWhole ? "systemWatts" : "totalWatts", watts}},
                     Level::normal,
                     std::nullopt,
                     parts};
}

Figure clock(const SystemSnapshot& snapshot, const SettingsStore& settings, const Levels&) {
    const WallTime now = snapshot.clock.now;
    const std::tm parts = localTime(now);
    std::string text = localTimeText(now, settings.use24Hour() ? "%H:%M" : ":%M");
    if (!settings.use24Hour()) {
        const bool isMorning = parts.tm_hour < 12;
        text = std::to_string(parts.tm_hour % 12 == 0 ? 12 : parts.tm_hour % 12) + text;
        text = isMorning ? said("{} AM", text) : said("{} PM", text);
    }
    constexpr std::size_t columns = 8;
    return BarFigure{settings.use24Hour() ? text : padded(text, columns),
                     {{"now", now.time_since_epoch().count()}},
                     Level::normal,
                     std::nullopt,
                     localTimeText(now, "%Y-%m-%d")};
}

Figure battery(const SystemSnapshot& snapshot, const SettingsStore&, const Levels& levels) {
    const BatteryMetrics& battery = snapshot.battery;
    if (!battery.isPresent) return std::nullopt;
    std::string detail = batteryState(battery);
    if (battery.timeRemainingMinutes >= 0) detail += ' ' + durationText(battery.timeRemainingMinutes);
    if (battery.powerWatts > 0) detail += ' ' + wattsText(battery.powerWatts);
    return BarFigure{padded(percentText(battery.level) + (battery.isCharging ? "+" : ""), percentColumns + 1),
                     {{"level", battery.level}},
                     levels.of(Aspect::battery),
                     battery.level,
                     detail};
}

struct Item {
    Phrase label;
    std::string_view icon;
    Figure (*figure)(const SystemSnapshot&, const SettingsStore&, const Levels&);
};
constexpr std::array items{
    Item{"Load", "📊", loadIndex}, Item{"CPU", "💻", cpuUsage},      Item{"CPU clock", "⏩", cpuFreq},
    Item{"GPU", "🎮", gpuUsage},   Item{"GPU clock", "🎬", gpuFreq}, Item{"Mem", "🧠", memoryUsage},
    Item{"Net", "🌐", network},    Item{"Disk", "💾", disk},         Item{"Power", "⚡", power},
    Item{"Time", "🕒", clock},     Item{"Bat", "🔋", battery}};
static_assert(items.size() == allCases<MenuBarMetric>().size());

}  // namespace

std::string compact(std::string_view text) {
    std::string result;
    while (!text.empty()) {
        const std::size_t end = std::min(text.find(figureSpace), text.size());
        result += text.substr(0, end);
        text.remove_prefix(std::min(end + figureSpace.size(), text.size()));
    }
    return result;
}

std::vector<MenuBarMetric> enabledInOrder(const SettingsStore& settings) {
    std::vector<MenuBarMetric> metrics;
    std::set<MenuBarMetric> waiting = settings.enabledMetrics();
    for (const MenuBarMetric metric : settings.metricOrder()) {
        if (waiting.erase(metric) > 0) metrics.push_back(metric);
    }
    return metrics;
}

std::vector<BarSegment> barSegments(const SystemSnapshot& snapshot, const SettingsStore& settings,
                                    const std::vector<MenuBarMetric>& metrics, const Levels& levels, WallTime now) {
    std::vector<BarSegment> segments;
    if (const auto age = ageIfOld(snapshot, Seconds(settings.updateInterval()), now)) {
        segments.push_back({"age", said("Old"), "⌛", {spanText(*age), {{"seconds", age->count()}}, Level::critical}});
    }
    for (const MenuBarMetric metric : metrics) {
        const Item& item = items[static_cast<std::size_t>(metric)];
        auto figure = item.figure(snapshot, settings, levels);
        if (figure) segments.push_back({rawValue(metric), said(item.label), item.icon, std::move(*figure)});
    }
    return segments;
}

}  // namespace zqm
