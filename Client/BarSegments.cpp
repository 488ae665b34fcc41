#include "Client/BarSegments.h"

#include <algorithm>
#include <array>
#include <set>

#include "Client/Units.h"

namespace zqm {
namespace {

using Figure = std::optional<BarFigure>;

std::string temperatureDetail(double celsius, const SettingsStore& settings) {
    return celsius > 0 ? temperatureText(celsius, settings.tempUnit()) : std::string();
}

/// "↓5.00 MB/s ↑126 kB/s".
std::string bothWays(std::string_view first, const std::string& in, std::string_view second, const std::string& out) {
    std::string text(first);
    text += in + ' ';
    text += second;
    return text + out;
}

Figure loadIndex(const SystemSnapshot& snapshot, const SettingsStore&) {
    const double load = snapshot.load.value;
    return BarFigure{percentText(load), {{"value", load}}, load};
}

Figure cpuUsage(const SystemSnapshot& snapshot, const SettingsStore& settings) {
    const CPUMetrics& cpu = snapshot.cpu;
    if (cpu.perCoreUsage.empty()) return std::nullopt;
    return BarFigure{percentText(cpu.totalUsage),
                     {{"totalUsage", cpu.totalUsage}},
                     cpu.totalUsage,
                     temperatureDetail(cpu.temperatureC, settings)};
}

Figure cpuFreq(const SystemSnapshot& snapshot, const SettingsStore& settings) {
    const double efficiency = snapshot.cpu.efficiencyFreqMHz;
    const double performance = snapshot.cpu.performanceFreqMHz;
    if (efficiency <= 0 && performance <= 0) return std::nullopt;
    const std::string slower = frequencyText(efficiency, settings.freqUnit());
    if (performance <= 0) return BarFigure{slower, {{"efficiencyFreqMHz", efficiency}}};
    return BarFigure{frequencyText(performance, settings.freqUnit()),
                     {{"performanceFreqMHz", performance}},
                     std::nullopt,
                     efficiency > 0 ? "E " + slower : std::string()};
}

Figure gpuUsage(const SystemSnapshot& snapshot, const SettingsStore& settings) {
    const GPUMetrics& gpu = snapshot.gpu;
    if (!hasGraphics(gpu)) return std::nullopt;
    return BarFigure{percentText(gpu.utilization),
                     {{"utilization", gpu.utilization}},
                     gpu.utilization,
                     temperatureDetail(gpu.temperatureC, settings)};
}

Figure gpuFreq(const SystemSnapshot& snapshot, const SettingsStore& settings) {
    const GPUMetrics& gpu = snapshot.gpu;
    if (gpu.frequencyMHz <= 0 && gpu.maxFrequencyMHz <= 0) return std::nullopt;
    const std::string most = gpu.maxFrequencyMHz > 0 ? frequencyText(gpu.maxFrequencyMHz, settings.freqUnit()) : "";
    return BarFigure{frequencyText(gpu.frequencyMHz, settings.freqUnit()),
                     {{"frequencyMHz", gpu.frequencyMHz}},
                     std::nullopt,
                     most.empty() ? most : "≤ " + most};
}

Figure memoryUsage(const SystemSnapshot& snapshot, const SettingsStore&) {
    if (snapshot.memory.totalBytes == 0) return std::nullopt;
    const auto used = static_cast<double>(snapshot.memory.usedBytes);
    const auto total = static_cast<double>(snapshot.memory.totalBytes);
    return BarFigure{
        percentText(used / total), {{"usage", used / total}}, used / total, bytesText(used) + " / " + bytesText(total)};
}

Figure network(const SystemSnapshot& snapshot, const SettingsStore&) {
    const NetworkMetrics& network = snapshot.network;
    const auto total = [](std::uint64_t bytes) { return bytesText(static_cast<double>(bytes)); };
    return BarFigure{
        bothWays("↓", rateText(network.downloadBytesPerSecond), "↑", rateText(network.uploadBytesPerSecond)),
        {{"downloadBytesPerSecond", network.downloadBytesPerSecond},
         {"uploadBytesPerSecond", network.uploadBytesPerSecond}},
        std::nullopt,
        bothWays("↓", total(network.totalDownloaded), "↑", total(network.totalUploaded))};
}

Figure disk(const SystemSnapshot& snapshot, const SettingsStore& settings) {
    const DiskMetrics& disk = snapshot.disk;
    return BarFigure{
        bothWays(inLanguage(settings, "读", "R "), rateText(disk.readBytesPerSecond), inLanguage(settings, "写", "W "),
                 rateText(disk.writeBytesPerSecond)),
        {{"readBytesPerSecond", disk.readBytesPerSecond}, {"writeBytesPerSecond", disk.writeBytesPerSecond}}};
}

Figure power(const SystemSnapshot& snapshot, const SettingsStore&) {
    const PowerMetrics& power = snapshot.power;
    const bool isWhole = power.systemWatts > 0;
    const double watts = wholeWatts(power);
    if (watts <= 0) return std::nullopt;
    std::string parts;
    for (const auto& [name, part] : {std::pair{"CPU ", power.cpuWatts}, {"GPU ", power.gpuWatts}}) {
        if (part > 0) parts += (parts.empty() ? "" : " ") + (name + wattsText(part));
    }
    return BarFigure{wattsText(watts), {{isWhole ? "systemWatts" : "totalWatts", watts}}, std::nullopt, parts};
}

Figure clock(const SystemSnapshot& snapshot, const SettingsStore& settings) {
    const WallTime now = snapshot.clock.now;
    const std::tm parts = localTime(now);
    std::string text = localTimeText(now, settings.use24Hour() ? "%H:%M" : ":%M");
    if (!settings.use24Hour()) {
        const bool isMorning = parts.tm_hour < 12;
        text = std::to_string(parts.tm_hour % 12 == 0 ? 12 : parts.tm_hour % 12) + text;
        text = settings.language() == AppLanguage::chinese ? (isMorning ? "上午" : "下午") + text
                                                           : text + (isMorning ? " AM" : " PM");
    }
    return BarFigure{text, {{"now", now.time_since_epoch().count()}}, std::nullopt, localTimeText(now, "%Y-%m-%d")};
}

Figure battery(const SystemSnapshot& snapshot, const SettingsStore& settings) {
    const BatteryMetrics& battery = snapshot.battery;
    if (!battery.isPresent) return std::nullopt;
    std::string detail(battery.isCharging  ? inLanguage(settings, "充电中", "charging")
                       : battery.onACPower ? inLanguage(settings, "使用电源", "on AC")
                                           : inLanguage(settings, "使用电池", "on battery"));
    if (battery.timeRemainingMinutes >= 0) detail += ' ' + durationText(battery.timeRemainingMinutes);
    if (battery.powerWatts > 0) detail += ' ' + wattsText(battery.powerWatts);
    return BarFigure{percentText(battery.level) + (battery.isCharging ? "+" : ""),
                     {{"level", battery.level}},
                     battery.onACPower ? std::nullopt : std::optional(1 - battery.level),
                     detail};
}

struct Item {
    std::string_view chinese;
    std::string_view english;
    Figure (*figure)(const SystemSnapshot&, const SettingsStore&);
};
constexpr std::array items{Item{"负载", "Load", loadIndex},
                           Item{"CPU", "CPU", cpuUsage},
                           Item{"CPU 频率", "CPU clock", cpuFreq},
                           Item{"GPU", "GPU", gpuUsage},
                           Item{"GPU 频率", "GPU clock", gpuFreq},
                           Item{"内存", "Mem", memoryUsage},
                           Item{"网络", "Net", network},
                           Item{"磁盘", "Disk", disk},
                           Item{"功耗", "Power", power},
                           Item{"时间", "Time", clock},
                           Item{"电池", "Bat", battery}};
static_assert(items.size() == allCases<MenuBarMetric>().size());

}  // namespace

std::string_view inLanguage(const SettingsStore& settings, std::string_view chinese, std::string_view english) {
    return settings.language() == AppLanguage::chinese ? chinese : english;
}

std::vector<BarSegment> barSegments(const SystemSnapshot& snapshot, const SettingsStore& settings, WallTime now) {
    std::vector<BarSegment> segments;
    if (const auto age = ageIfOld(snapshot, Seconds(settings.updateInterval()), now)) {
        constexpr double worst = 1;
        segments.push_back(
            {"age", inLanguage(settings, "过时", "Old"), {spanText(*age), {{"seconds", age->count()}}, worst}});
    }
    std::set<MenuBarMetric> waiting = settings.enabledMetrics();
    for (const MenuBarMetric metric : settings.metricOrder()) {
        if (waiting.erase(metric) == 0) continue;
        const Item& item = items[static_cast<std::size_t>(metric)];
        auto figure = item.figure(snapshot, settings);
        if (figure)
            segments.push_back(
                {rawValue(metric), inLanguage(settings, item.chinese, item.english), std::move(*figure)});
    }
    return segments;
}

}  // namespace zqm
