#include "Client/Watch/Panels.h"

#include <algorithm>
#include <array>

#include "Client/Terminal.h"
#include "Client/Texts.h"
#include "Client/Units.h"

namespace zqm {
namespace {

constexpr double coolest = 20;  // °C, the range of the temperature's graph
constexpr double hottest = 100;

struct Kind {
    CoreKind kind;
    char letter;
    Role role;
};
constexpr std::array kinds{Kind{CoreKind::performance, 'P', Role::performance},
                           Kind{CoreKind::efficiency, 'E', Role::efficiency},
                           Kind{CoreKind::unknown, 'C', Role::otherKind}};

Figure percent(double fraction, Level level = Level::normal) {
    return {fittedRight(percentText(fraction), 4), roleOf(level)};
}

Figure detail(std::string text) {
    return {std::move(text), Role::dim};
}

Figure rate(std::string_view mark, double bytesPerSecond, Role role) {
    return {std::string(mark) + fittedRight(rateText(bytesPerSecond), 10), role};
}

Panel processorPanel(const SnapshotReply& reply) {
    const CPUMetrics& cpu = reply.snapshot.cpu;
    const std::size_t count = cpu.perCoreUsage.size();
    Panel panel{"CPU", {}, {{Track::cpu, Role::performance}}};
    const std::string cores = std::to_string(count);
    panel.figures.push_back(detail(count == 1 ? said("{} core", cores) : said("{} cores", cores)));
    panel.figures.push_back(percent(cpu.totalUsage));
    return panel;
}

/// The kinds of which this machine has processors; where they are all of one kind, that is none worth a name.
std::vector<Kind> kindsOf(const CPUMetrics& cpu) {
    std::vector<Kind> present;
    for (const Kind& kind : kinds) {
        if (std::count(cpu.coreKinds.begin(), cpu.coreKinds.end(), kind.kind) > 0) present.push_back(kind);
    }
    if (present.size() == 1) present[0].letter = 'C';
    return present;
}

/// Each kind with its mean usage and frequency, in its colour.
Panel coresPanel(const CPUMetrics& cpu, FreqUnit unit) {
    Panel panel{said("Cores"), {}, {}};
    const std::vector<Kind> present = kindsOf(cpu);
    for (auto kind = present.rbegin(); kind != present.rend(); ++kind) {
        double sum = 0;
        std::size_t count = 0;
        for (std::size_t i = 0; i < cpu.perCoreUsage.size(); ++i) {
            if (i >= cpu.coreKinds.size() || cpu.coreKinds[i] != kind->kind) continue;
            sum += cpu.perCoreUsage[i];
            ++count;
        }
        if (count == 0) continue;
        const bool isEfficient = kind->kind == CoreKind::efficiency;
        const double megahertz = isEfficient ? cpu.efficiencyFreqMHz : cpu.performanceFreqMHz;
        std::string text = kind->letter + fittedRight(percentText(sum / static_cast<double>(count)), 4);
        if (megahertz > 0) text += " " + frequencyText(megahertz, unit);
        panel.figures.push_back({std::move(text), kind->role});
    }
    return panel;
}

Panel memoryPanel(const MemoryMetrics& memory, Level level) {
    const auto bytes = [](std::uint64_t count) { return bytesText(static_cast<double>(count)); };
    Panel panel{said("Memory"), {}, {{Track::memory, Role::memory}}, 0, static_cast<double>(memory.totalBytes)};
    if (memory.compressedBytes > 0)
        panel.figures.push_back(detail(said("compressed {}", bytes(memory.compressedBytes))));
    if (memory.swapUsedBytes > 0) panel.figures.push_back(detail(said("swap {}", bytes(memory.swapUsedBytes))));
    panel.figures.push_back(detail(said("{} of {}", bytes(memory.usedBytes), bytes(memory.totalBytes))));
    if (memory.pressureLevel > 0 && level != Level::normal) panel.figures.push_back({said("pressure"), roleOf(level)});
    panel.figures.push_back(percent(usedShare(memory), level));
    return panel;
}

Panel graphicsPanel(const GPUMetrics& gpu, FreqUnit unit) {
    Panel panel{"GPU", {}, {{Track::gpu, Role::graphics}}};
    if (gpu.frequencyMHz > 0) panel.figures.push_back(detail(frequencyText(gpu.frequencyMHz, unit)));
    panel.figures.push_back(percent(gpu.utilization));
    return panel;
}

Panel networkPanel(const NetworkMetrics& network) {
    return {said("Network"),
            {rate("↓", network.downloadBytesPerSecond, Role::incoming),
             rate("↑", network.uploadBytesPerSecond, Role::outgoing)},
            {{Track::download, Role::incoming}, {Track::upload, Role::outgoing}},
            0,
            1000,
            rateText};
}

Panel diskPanel(const DiskMetrics& disk) {
    return {said("Disk"),
            {rate(said("R"), disk.readBytesPerSecond, Role::incoming),
             rate(said("W"), disk.writeBytesPerSecond, Role::outgoing)},
            {{Track::diskRead, Role::incoming}, {Track::diskWrite, Role::outgoing}},
            0,
            1000,
            rateText};
}

/// Before the figures of all, where there are several, each one's traffic in both directions together.
Panel withParts(Panel panel, const std::vector<TransferRate>& parts) {
    if (parts.size() < 2) return panel;
    std::vector<Figure> figures;
    for (const TransferRate& part : parts) {
        figures.push_back(detail(printable(part.name) + " " + rateText(part.in + part.out)));
    }
    panel.figures.insert(panel.figures.begin(), figures.begin(), figures.end());
    return panel;
}

Panel temperaturePanel(const SystemSnapshot& snapshot, const History& history, TempUnit unit) {
    const Levels& levels = history.levels();
    const Track track = history.isKnown(Track::cpuTemperature) ? Track::cpuTemperature : Track::gpuTemperature;
    Panel panel{said("Temperature"), {}, {{track, Role::heat}}, coolest, hottest};
    const double cpu = snapshot.cpu.temperatureC;
    const double gpu = snapshot.gpu.temperatureC;
    const auto add = [&](const char* name, double celsius, Level level, Role usual) {
        if (celsius <= 0) return;
        panel.figures.push_back(
            {name + temperatureText(celsius, unit), level == Level::normal ? usual : roleOf(level)});
    };
    add("GPU ", gpu, levels.of(Aspect::gpuHeat), cpu > 0 ? Role::dim : Role::plain);
    add("CPU ", cpu, levels.of(Aspect::cpuHeat), Role::plain);
    return panel;
}

Panel powerPanel(const PowerMetrics& power) {
    Panel panel{said("Power"), {}, {{Track::power, Role::energy}}, 0, 5, wattsText};
    struct Part {
        Phrase name;
        double watts;
    };
    for (const auto& [name, watts] :
         {Part{"DRAM {}", power.dramWatts}, Part{"display {}", power.displayWatts}, Part{"ANE {}", power.aneWatts},
          Part{"GPU {}", power.gpuWatts}, Part{"CPU {}", power.cpuWatts}}) {
        if (watts > 0) panel.figures.push_back(detail(said(name, wattsText(watts))));
    }
    panel.figures.push_back({wattsText(wholeWatts(power))});
    return panel;
}

Panel batteryPanel(const BatteryMetrics& battery, Level level) {
    Panel panel{said("Battery"), {}, {{Track::battery, Role::efficiency}}};
    if (battery.health > 0) panel.figures.push_back(detail(said("health {}", percentText(battery.health))));
    if (battery.powerWatts > 0) panel.figures.push_back(detail(wattsText(battery.powerWatts)));
    if (battery.timeRemainingMinutes >= 0) {
        const std::string time = durationText(battery.timeRemainingMinutes);
        panel.figures.push_back(detail(battery.isCharging ? said("{} to full", time) : said("{} left", time)));
    }
    panel.figures.push_back(detail(batteryState(battery)));
    panel.figures.push_back(percent(battery.level, level));
    return panel;
}

}  // namespace

Role roleOf(Level level) {
    return level == Level::critical ? Role::critical : level == Level::warning ? Role::warning : Role::plain;
}

std::vector<Panel> panelsFor(const SnapshotReply& reply, const MachineFacts* facts, const History& history,
                             const SettingsStore& settings) {
    const SystemSnapshot& snapshot = reply.snapshot;
    const Levels& levels = history.levels();
    std::vector<Panel> panels{processorPanel(reply)};
    if (!snapshot.cpu.perCoreUsage.empty()) panels.push_back(coresPanel(snapshot.cpu, settings.freqUnit()));
    panels.push_back(memoryPanel(snapshot.memory, levels.of(Aspect::memory)));
    if (history.isKnown(Track::gpu)) panels.push_back(graphicsPanel(snapshot.gpu, settings.freqUnit()));
    const MachineFacts told = facts ? *facts : MachineFacts{};
    panels.push_back(withParts(networkPanel(snapshot.network), told.interfaces));
    panels.push_back(withParts(diskPanel(snapshot.disk), told.drives));
    if (history.isKnown(Track::cpuTemperature) || history.isKnown(Track::gpuTemperature))
        panels.push_back(temperaturePanel(snapshot, history, settings.tempUnit()));
    if (history.isKnown(Track::power)) panels.push_back(powerPanel(snapshot.power));
    panels.push_back(
        {said("Load"), {percent(snapshot.load.value, levels.of(Aspect::load))}, {{Track::load, Role::load}}});
    if (history.isKnown(Track::battery)) panels.push_back(batteryPanel(snapshot.battery, levels.of(Aspect::battery)));
    return panels;
}

std::vector<Core> coresByKind(const CPUMetrics& cpu) {
    std::vector<Core> cores;
    for (const Kind& kind : kindsOf(cpu)) {
        std::size_t number = 0;
        for (std::size_t i = 0; i < std::min(cpu.perCoreUsage.size(), cpu.coreKinds.size()); ++i) {
            if (cpu.coreKinds[i] == kind.kind) cores.push_back({i, kind.letter + std::to_string(number++), kind.role});
        }
    }
    return cores;
}

std::string_view rankingTitle(ProcessCategory category) {
    static constexpr std::array<Phrase, 6> titles{"CPU", "GPU", "Memory", "Disk", "Sockets", "Power"};
    return titles[static_cast<std::size_t>(category)].in(L10n::language);
}

}  // namespace zqm
