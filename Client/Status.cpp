#include "Client/Status.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "Client/Texts.h"
#include "Client/Units.h"

namespace zqm {
namespace {

constexpr std::size_t labelColumns = 9;
constexpr std::size_t figureColumns = 10;

/// Puts together "label  figure  detail" lines.
class Report {
public:
    explicit Report(const Style& style) : style_(style) {}

    void line(std::string_view label, const std::string& figure, const std::string& detail) {
        text_ += style_.label(fitted(label, labelColumns)) + figure;
        if (!detail.empty()) text_ += "  " + detail;
        text_ += '\n';
    }
    std::string figure(Level level, const std::string& text) const { return style_.level(level, plain(text)); }
    static std::string plain(const std::string& text) { return fittedRight(text, figureColumns); }
    const Style& style() const { return style_; }
    std::string take() { return std::move(text_); }

private:
    const Style& style_;
    std::string text_;
};

/// The parts that are there, with two blanks between them.
std::string joined(std::initializer_list<std::string> parts) {
    std::string text;
    for (const std::string& part : parts) {
        if (part.empty()) continue;
        if (!text.empty()) text += "  ";
        text += part;
    }
    return text;
}

std::string named(Phrase name, const std::string& value, bool isThere = true) {
    return isThere ? said(name, value) : std::string();
}

/// "4 E cores 1.02 GHz".
std::string coresText(const CPUMetrics& cpu, CoreKind kind, std::string_view name, double megahertz, FreqUnit unit) {
    const auto count = std::count(cpu.coreKinds.begin(), cpu.coreKinds.end(), kind);
    if (count == 0) return {};
    const std::string cores = std::to_string(count) + std::string(name);
    std::string text = count == 1 ? said("{} core", cores) : said("{} cores", cores);
    if (megahertz > 0) text += " " + frequencyText(megahertz, unit);
    return text;
}

/// One eighth-block per core.
std::string bars(const std::vector<double>& fractions) {
    static constexpr std::array blocks{"▁", "▂", "▃", "▄", "▅", "▆", "▇", "█"};
    std::string text;
    for (const double fraction : fractions) {
        const double step = std::clamp(std::isfinite(fraction) ? fraction : 0, 0.0, 1.0) * (blocks.size() - 1);
        text += blocks[static_cast<std::size_t>(std::lround(step))];
    }
    return text;
}

std::string heatText(const Report& report, double celsius, Level level, TempUnit unit) {
    return celsius > 0 ? report.style().level(level, temperatureText(celsius, unit)) : std::string();
}

void addProcessors(Report& report, const CPUMetrics& cpu, const Levels& levels, const SettingsStore& settings) {
    const FreqUnit unit = settings.freqUnit();
    report.line("CPU", Report::plain(percentText(cpu.totalUsage)),
                joined({coresText(cpu, CoreKind::performance, " P", cpu.performanceFreqMHz, unit),
                        coresText(cpu, CoreKind::efficiency, " E", cpu.efficiencyFreqMHz, unit),
                        coresText(cpu, CoreKind::unknown, "", cpu.performanceFreqMHz, unit),
                        heatText(report, cpu.temperatureC, levels.of(Aspect::cpuHeat), settings.tempUnit())}));
    if (cpu.perCoreUsage.empty() || cpu.perCoreUsage.size() > 64) return;
    report.line("", std::string(figureColumns, ' '), bars(cpu.perCoreUsage));
}

void addMemory(Report& report, const MemoryMetrics& memory, Level level) {
    const auto bytes = [](std::uint64_t count) { return bytesText(static_cast<double>(count)); };
    report.line(said("Memory"), report.figure(level, bytes(memory.usedBytes)),
                joined({said("of {}", bytes(memory.totalBytes)), named("app {}", bytes(memory.appBytes)),
                        named("wired {}", bytes(memory.wiredBytes)),
                        named("compressed {}", bytes(memory.compressedBytes), memory.compressedBytes > 0),
                        memory.pressureLevel == 0 || level == Level::normal
                            ? ""
                            : report.style().level(
                                  level, level == Level::critical ? said("critical pressure") : said("pressure"))}));
    if (memory.swapTotalBytes == 0) return;
    report.line(said("Swap"), Report::plain(bytes(memory.swapUsedBytes)), said("of {}", bytes(memory.swapTotalBytes)));
}

void addGraphics(Report& report, const GPUMetrics& gpu, const Levels& levels, const SettingsStore& settings) {
    if (!hasGraphics(gpu)) return;
    report.line("GPU", Report::plain(percentText(gpu.utilization)),
                joined({gpu.frequencyMHz > 0 ? frequencyText(gpu.frequencyMHz, settings.freqUnit()) : "",
                        heatText(report, gpu.temperatureC, levels.of(Aspect::gpuHeat), settings.tempUnit())}));
}

void addTransfers(Report& report, const SystemSnapshot& snapshot) {
    const NetworkMetrics& network = snapshot.network;
    const IPMetrics& ip = snapshot.ip;
    const std::string place = printable(ip.publicIP.empty() ? "" : ip.publicIP + " " + ip.regionName);
    report.line(said("Network"), Report::plain(rateText(network.downloadBytesPerSecond)),
                joined({said("down"), said("{} up", rateText(network.uploadBytesPerSecond)), printable(ip.localIPv4),
                        named("public {}", place, !place.empty()),
                        named("tunnel {}", printable(ip.utunGateway), !ip.utunGateway.empty()),
                        ip.proxyDetected ? said("proxy") : ""}));
    report.line(said("Disk"), Report::plain(rateText(snapshot.disk.readBytesPerSecond)),
                joined({said("read"), said("{} written", rateText(snapshot.disk.writeBytesPerSecond))}));
}

void addPower(Report& report, const PowerMetrics& power) {
    const double whole = wholeWatts(power);
    if (whole <= 0) return;
    const auto part = [](Phrase name, double watts) { return named(name, wattsText(watts), watts > 0); };
    report.line(said("Power"), Report::plain(wattsText(whole)),
                joined({power.systemWatts > 0 ? said("system") : said("processors and memory"),
                        part("CPU {}", power.cpuWatts), part("GPU {}", power.gpuWatts), part("ANE {}", power.aneWatts),
                        part("DRAM {}", power.dramWatts), part("display {}", power.displayWatts)}));
}

void addBattery(Report& report, const BatteryMetrics& battery, Level level) {
    if (!battery.isPresent) return;
    const std::string time = battery.timeRemainingMinutes >= 0 ? durationText(battery.timeRemainingMinutes) : "";
    report.line(said("Battery"), report.figure(level, percentText(battery.level)),
                joined({batteryState(battery),
                        time.empty()         ? ""
                        : battery.isCharging ? said("{} to full", time)
                                             : said("{} left", time),
                        battery.powerWatts > 0 ? wattsText(battery.powerWatts) : "",
                        named("health {}", percentText(battery.health), battery.health > 0),
                        named("{} cycles", std::to_string(battery.cycleCount), battery.cycleCount > 0)}));
}

void addRankings(Report& report, const SnapshotReply& reply) {
    for (const auto& [category, label] :
         {std::pair{ProcessCategory::cpu, said("Top CPU")}, {ProcessCategory::memory, said("Top mem")}}) {
        const auto& ranking = reply.ranking(category);
        std::string text;
        for (std::size_t i = 0; i < std::min<std::size_t>(3, ranking.size()); ++i) {
            if (i > 0) text += "  ";
            text += printable(ranking[i].name) + " " + report.style().dim(rankingValueText(category, ranking[i].value));
        }
        if (!text.empty()) report.line(label, " ", text);
    }
}

void addSystem(Report& report, const MachineFacts& facts) {
    report.line(said("System"), " ",
                joined({printable(facts.system), facts.uptime ? said("up {}", uptimeText(*facts.uptime)) : "",
                        facts.loadAverages ? said("load average {}", averagesText(*facts.loadAverages)) : ""}));
    if (!facts.model.empty() || !facts.processor.empty()) {
        report.line("", " ", joined({printable(facts.model), printable(facts.processor)}));
    }
}

void addFileSystems(Report& report, const MachineFacts& facts) {
    std::string label = said("Space");
    for (const FileSystem& system : facts.fileSystems) {
        report.line(
            std::exchange(label, ""),
            report.figure(spaceLevel(system), bytesText(static_cast<double>(system.available))),
            said("free of {} on {}", bytesText(static_cast<double>(system.total)), printable(system.mountPoint)));
    }
}

/// What only `status --all` shows.
void addDevices(Report& report, const MachineFacts& facts, const SettingsStore& settings) {
    const auto list = [&report](std::string label, const auto& entries, const auto& figure, const auto& detail) {
        for (const auto& entry : entries)
            report.line(std::exchange(label, ""), Report::plain(figure(entry)), detail(entry));
    };
    const auto name = [](const SensorFigure& sensor) { return printable(sensor.name); };
    const auto in = [](const TransferRate& transfer) { return rateText(transfer.in); };
    list(said("Links"), facts.interfaces, in, [](const TransferRate& transfer) {
        return joined({said("down"), said("{} up", rateText(transfer.out)), printable(transfer.name)});
    });
    list(said("Drives"), facts.drives, in, [](const TransferRate& transfer) {
        return joined({said("read"), said("{} written", rateText(transfer.out)), printable(transfer.name)});
    });
    list(
        said("Sensors"), facts.temperatures,
        [&](const SensorFigure& sensor) { return temperatureText(sensor.value, settings.tempUnit()); }, name);
    list(
        said("Fans"), facts.fans, [](const SensorFigure& fan) { return fixedText(fan.value, 0, " rpm"); }, name);
}

}  // namespace

std::string statusText(const SnapshotReply& reply, const MachineFacts* facts, const SettingsStore& settings,
                       const Style& style, WallTime now) {
    const SystemSnapshot& snapshot = reply.snapshot;
    const auto age = ageIfOld(snapshot, Seconds(settings.updateInterval()), now);
    const Levels levels(snapshot, usualLimits);
    Report report(style);
    report.line(said("Load"), report.figure(levels.of(Aspect::load), percentText(snapshot.load.value)),
                joined({style.dim(localTimeText(snapshot.timestamp, "%Y-%m-%d %H:%M:%S")),
                        age ? style.level(Level::critical, said("{} old", spanText(*age))) : ""}));
    if (facts) addSystem(report, *facts);
    addProcessors(report, snapshot.cpu, levels, settings);
    addGraphics(report, snapshot.gpu, levels, settings);
    addMemory(report, snapshot.memory, levels.of(Aspect::memory));
    addTransfers(report, snapshot);
    if (facts) addFileSystems(report, *facts);
    addPower(report, snapshot.power);
    addBattery(report, snapshot.battery, levels.of(Aspect::battery));
    addRankings(report, reply);
    if (facts) addDevices(report, *facts, settings);
    return report.take();
}

std::string uptimeText(Seconds uptime) {
    const auto minutes = static_cast<std::int64_t>(uptime.count() / 60);
    constexpr std::int64_t day = 24 * 60;
    const std::string time = durationText(minutes % day);
    return minutes < day ? time : said("{} d {}", std::to_string(minutes / day), time);
}

std::string averagesText(const std::array<double, 3>& averages) {
    std::string text;
    for (const double average : averages) text += (text.empty() ? "" : " ") + fixedText(average, 2, "");
    return text;
}

std::string statusJson(const SnapshotReply& reply) {
    std::string processes = "{";
    for (const ProcessCategory category : allCases<ProcessCategory>()) {
        if (processes.size() > 1) processes += ',';
        processes += '"' + std::string(rawValue(category)) + "\":";
        appendRanking(processes, reply.ranking(category));
    }
    return withProcesses(encode(reply.snapshot).value_or("{}"), processes + '}') + '\n';
}

std::string rankingValueText(ProcessCategory category, double value) {
    switch (category) {
        case ProcessCategory::cpu:
            return percentText(value / 100);
        case ProcessCategory::gpu:
            return percentText(value);
        case ProcessCategory::memory:
            return bytesText(value);
        case ProcessCategory::disk:
            return rateText(value);
        case ProcessCategory::network:
            return std::to_string(static_cast<std::int64_t>(std::clamp(value, 0.0, 1e9)));
        case ProcessCategory::power:
            return wattsText(value);
    }
    return {};
}

std::string rankingText(const std::vector<TopProcess>& ranking, ProcessCategory category, std::size_t count,
                        const Style& style) {
    static constexpr std::array<Phrase, 6> headings{"CPU", "GPU", "MEMORY", "DISK", "SOCKETS", "POWER"};
    std::string text =
        style.label(fittedRight("PID", 8) + fittedRight(said(headings[static_cast<std::size_t>(category)]), 12) + "  " +
                    said("NAME")) +
        '\n';
    for (std::size_t i = 0; i < std::min(count, ranking.size()); ++i) {
        const TopProcess& process = ranking[i];
        if (process.value <= 0) break;
        text += fittedRight(std::to_string(process.pid), 8) +
                fittedRight(rankingValueText(category, process.value), 12) + "  " + printable(process.name) + '\n';
    }
    return text;
}

}  // namespace zqm
