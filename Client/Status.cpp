#include "Client/Status.h"

#include <algorithm>
#include <array>
#include <cmath>

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
    std::string figure(double fraction, const std::string& text) const {
        return style_.level(fraction, fittedRight(text, figureColumns));
    }
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

std::string named(std::string_view name, const std::string& value, bool isThere = true) {
    return isThere ? std::string(name) + " " + value : std::string();
}

/// "4 E cores 1.02 GHz".
std::string coresText(const CPUMetrics& cpu, CoreKind kind, std::string_view name, double megahertz, FreqUnit unit) {
    const auto count = std::count(cpu.coreKinds.begin(), cpu.coreKinds.end(), kind);
    if (count == 0) return {};
    std::string text = std::to_string(count) + std::string(name) + (count == 1 ? " core" : " cores");
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

void addProcessors(Report& report, const CPUMetrics& cpu, const SettingsStore& settings) {
    const FreqUnit unit = settings.freqUnit();
    report.line("CPU", report.figure(cpu.totalUsage, percentText(cpu.totalUsage)),
                joined({coresText(cpu, CoreKind::performance, " P", cpu.performanceFreqMHz, unit),
                        coresText(cpu, CoreKind::efficiency, " E", cpu.efficiencyFreqMHz, unit),
                        coresText(cpu, CoreKind::unknown, "", cpu.performanceFreqMHz, unit),
                        cpu.temperatureC > 0 ? temperatureText(cpu.temperatureC, settings.tempUnit()) : ""}));
    if (cpu.perCoreUsage.empty() || cpu.perCoreUsage.size() > 64) return;
    report.line("", std::string(figureColumns, ' '), bars(cpu.perCoreUsage));
}

void addMemory(Report& report, const MemoryMetrics& memory) {
    const double total = std::max(1.0, static_cast<double>(memory.totalBytes));
    const double used = static_cast<double>(memory.usedBytes);
    const auto bytes = [](std::uint64_t count) { return bytesText(static_cast<double>(count)); };
    report.line("Memory", report.figure(used / total, bytesText(used)),
                joined({"of " + bytes(memory.totalBytes), named("app", bytes(memory.appBytes)),
                        named("wired", bytes(memory.wiredBytes)),
                        named("compressed", bytes(memory.compressedBytes), memory.compressedBytes > 0),
                        memory.pressureLevel == 2   ? report.style().level(0.7, "pressure")
                        : memory.pressureLevel >= 4 ? report.style().level(1, "critical pressure")
                                                    : ""}));
    if (memory.swapTotalBytes == 0) return;
    const double swap = static_cast<double>(memory.swapUsedBytes) / static_cast<double>(memory.swapTotalBytes);
    report.line("Swap", report.figure(swap, bytes(memory.swapUsedBytes)), "of " + bytes(memory.swapTotalBytes));
}

void addGraphics(Report& report, const GPUMetrics& gpu, const SettingsStore& settings) {
    if (!hasGraphics(gpu)) return;
    report.line("GPU", report.figure(gpu.utilization, percentText(gpu.utilization)),
                joined({gpu.frequencyMHz > 0 ? frequencyText(gpu.frequencyMHz, settings.freqUnit()) : "",
                        gpu.temperatureC > 0 ? temperatureText(gpu.temperatureC, settings.tempUnit()) : ""}));
}

void addTransfers(Report& report, const SystemSnapshot& snapshot) {
    const NetworkMetrics& network = snapshot.network;
    const IPMetrics& ip = snapshot.ip;
    const std::string place = printable(ip.publicIP.empty() ? "" : ip.publicIP + " " + ip.regionName);
    report.line(
        "Network", Report::plain(rateText(network.downloadBytesPerSecond)),
        joined({"down", rateText(network.uploadBytesPerSecond) + " up", printable(ip.localIPv4),
                named("public", place, !place.empty()),
                named("tunnel", printable(ip.utunGateway), !ip.utunGateway.empty()), ip.proxyDetected ? "proxy" : ""}));
    report.line("Disk", Report::plain(rateText(snapshot.disk.readBytesPerSecond)),
                joined({"read", rateText(snapshot.disk.writeBytesPerSecond) + " written"}));
}

void addPower(Report& report, const PowerMetrics& power) {
    const double whole = wholeWatts(power);
    if (whole <= 0) return;
    const auto part = [](std::string_view name, double watts) { return named(name, wattsText(watts), watts > 0); };
    report.line("Power", Report::plain(wattsText(whole)),
                joined({power.systemWatts > 0 ? "system" : "processors and memory", part("CPU", power.cpuWatts),
                        part("GPU", power.gpuWatts), part("ANE", power.aneWatts), part("DRAM", power.dramWatts),
                        part("display", power.displayWatts)}));
}

void addBattery(Report& report, const BatteryMetrics& battery) {
    if (!battery.isPresent) return;
    const std::string time = battery.timeRemainingMinutes >= 0 ? durationText(battery.timeRemainingMinutes) : "";
    report.line("Battery", report.figure(1 - battery.level, percentText(battery.level)),
                joined({battery.isCharging  ? "charging"
                        : battery.onACPower ? "on AC"
                                            : "discharging",
                        time.empty() ? "" : time + (battery.isCharging ? " to full" : " left"),
                        battery.powerWatts > 0 ? wattsText(battery.powerWatts) : "",
                        named("health", percentText(battery.health), battery.health > 0),
                        battery.cycleCount > 0 ? std::to_string(battery.cycleCount) + " cycles" : ""}));
}

void addRankings(Report& report, const SnapshotReply& reply) {
    for (const auto& [category, label] :
         {std::pair{ProcessCategory::cpu, "Top CPU"}, {ProcessCategory::memory, "Top mem"}}) {
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
    report.line("System", " ",
                joined({printable(facts.system), facts.uptime ? "up " + uptimeText(*facts.uptime) : "",
                        facts.loadAverages ? "load average " + averagesText(*facts.loadAverages) : ""}));
    if (!facts.model.empty() || !facts.processor.empty()) {
        report.line("", " ", joined({printable(facts.model), printable(facts.processor)}));
    }
}

void addFileSystems(Report& report, const MachineFacts& facts) {
    std::string_view label = "Space";
    for (const FileSystem& system : facts.fileSystems) {
        const auto available = static_cast<double>(system.available);
        const auto total = static_cast<double>(system.total);
        report.line(std::exchange(label, ""), Report::plain(bytesText(available)),
                    "free of " + bytesText(total) + " on " + printable(system.mountPoint));
    }
}

/// What only `status --all` shows.
void addDevices(Report& report, const MachineFacts& facts, const SettingsStore& settings) {
    const auto list = [&report](std::string_view label, const auto& entries, const auto& figure, const auto& detail) {
        for (const auto& entry : entries)
            report.line(std::exchange(label, ""), Report::plain(figure(entry)), detail(entry));
    };
    const auto name = [](const SensorFigure& sensor) { return printable(sensor.name); };
    const auto in = [](const TransferRate& transfer) { return rateText(transfer.in); };
    list("Links", facts.interfaces, in, [](const TransferRate& transfer) {
        return "down  " + rateText(transfer.out) + " up  " + printable(transfer.name);
    });
    list("Drives", facts.drives, in, [](const TransferRate& transfer) {
        return "read  " + rateText(transfer.out) + " written  " + printable(transfer.name);
    });
    list(
        "Sensors", facts.temperatures,
        [&](const SensorFigure& sensor) { return temperatureText(sensor.value, settings.tempUnit()); }, name);
    list(
        "Fans", facts.fans, [](const SensorFigure& fan) { return fixedText(fan.value, 0, " rpm"); }, name);
}

}  // namespace

std::string statusText(const SnapshotReply& reply, const MachineFacts* facts, const SettingsStore& settings,
                       const Style& style, WallTime now) {
    const SystemSnapshot& snapshot = reply.snapshot;
    const auto age = ageIfOld(snapshot, Seconds(settings.updateInterval()), now);
    Report report(style);
    report.line("Load", report.figure(snapshot.load.value, percentText(snapshot.load.value)),
                joined({style.dim(localTimeText(snapshot.timestamp, "%Y-%m-%d %H:%M:%S")),
                        age ? style.level(1, spanText(*age) + " old") : ""}));
    if (facts) addSystem(report, *facts);
    addProcessors(report, snapshot.cpu, settings);
    addGraphics(report, snapshot.gpu, settings);
    addMemory(report, snapshot.memory);
    addTransfers(report, snapshot);
    if (facts) addFileSystems(report, *facts);
    addPower(report, snapshot.power);
    addBattery(report, snapshot.battery);
    addRankings(report, reply);
    if (facts) addDevices(report, *facts, settings);
    return report.take();
}

std::string uptimeText(Seconds uptime) {
    const auto minutes = static_cast<std::int64_t>(uptime.count() / 60);
    constexpr std::int64_t day = 24 * 60;
    return (minutes >= day ? std::to_string(minutes / day) + " d " : "") + durationText(minutes % day);
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
    static constexpr std::array headings{"CPU", "GPU", "MEMORY", "DISK", "SOCKETS", "POWER"};
    std::string text =
        style.label(fittedRight("PID", 8) + fittedRight(headings[static_cast<std::size_t>(category)], 12) + "  NAME") +
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
