#include "Client/Watch/Panels.h"

#include <algorithm>
#include <array>

#include "Client/Terminal.h"
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

Figure level(double fraction) {
    return {fittedRight(percentText(fraction), 4), fraction >= criticalFrom  ? Role::critical
                                                   : fraction >= warningFrom ? Role::warning
                                                                             : Role::plain};
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
    Panel panel{"CPU", {}, {{Quantity::cpu, Role::performance}}};
    panel.figures.push_back(detail(std::to_string(count) + (count == 1 ? " core" : " cores")));
    panel.figures.push_back(level(cpu.totalUsage));
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
    Panel panel{"Cores", {}, {}};
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

Panel memoryPanel(const MemoryMetrics& memory) {
    const auto bytes = [](std::uint64_t count) { return bytesText(static_cast<double>(count)); };
    const auto total = static_cast<double>(memory.totalBytes);
    Panel panel{"Memory", {}, {{Quantity::memory, Role::memory}}};
    if (memory.compressedBytes > 0) panel.figures.push_back(detail("compressed " + bytes(memory.compressedBytes)));
    if (memory.swapUsedBytes > 0) panel.figures.push_back(detail("swap " + bytes(memory.swapUsedBytes)));
    panel.figures.push_back(detail(bytes(memory.usedBytes) + " of " + bytes(memory.totalBytes)));
    if (memory.pressureLevel == 2) panel.figures.push_back({"pressure", Role::warning});
    if (memory.pressureLevel >= 4) panel.figures.push_back({"pressure", Role::critical});
    panel.figures.push_back(level(total > 0 ? static_cast<double>(memory.usedBytes) / total : 0));
    return panel;
}

Panel graphicsPanel(const GPUMetrics& gpu, FreqUnit unit) {
    Panel panel{"GPU", {}, {{Quantity::gpu, Role::graphics}}};
    if (gpu.frequencyMHz > 0) panel.figures.push_back(detail(frequencyText(gpu.frequencyMHz, unit)));
    panel.figures.push_back(level(gpu.utilization));
    return panel;
}

Panel networkPanel(const NetworkMetrics& network) {
    return {"Network",
            {rate("↓", network.downloadBytesPerSecond, Role::incoming),
             rate("↑", network.uploadBytesPerSecond, Role::outgoing)},
            {{Quantity::download, Role::incoming}, {Quantity::upload, Role::outgoing}},
            0,
            1000,
            rateText};
}

Panel diskPanel(const DiskMetrics& disk) {
    return {"Disk",
            {rate("R", disk.readBytesPerSecond, Role::incoming), rate("W", disk.writeBytesPerSecond, Role::outgoing)},
            {{Quantity::read, Role::incoming}, {Quantity::write, Role::outgoing}},
            0,
            1000,
            rateText};
}

Panel temperaturePanel(const SystemSnapshot& snapshot, TempUnit unit) {
    Panel panel{"Temperature", {}, {{Quantity::temperature, Role::heat}}, coolest, hottest};
    const double cpu = snapshot.cpu.temperatureC;
    const double gpu = snapshot.gpu.temperatureC;
    if (gpu > 0) panel.figures.push_back({"GPU " + temperatureText(gpu, unit), cpu > 0 ? Role::dim : Role::plain});
    if (cpu > 0) panel.figures.push_back({"CPU " + temperatureText(cpu, unit)});
    return panel;
}

Panel powerPanel(const PowerMetrics& power) {
    Panel panel{"Power", {}, {{Quantity::power, Role::energy}}, 0, 5, wattsText};
    for (const auto& [name, watts] : {std::pair{"DRAM ", power.dramWatts},
                                      {"display ", power.displayWatts},
                                      {"ANE ", power.aneWatts},
                                      {"GPU ", power.gpuWatts},
                                      {"CPU ", power.cpuWatts}}) {
        if (watts > 0) panel.figures.push_back(detail(name + wattsText(watts)));
    }
    panel.figures.push_back({wattsText(wholeWatts(power))});
    return panel;
}

Panel batteryPanel(const BatteryMetrics& battery) {
    Panel panel{"Battery", {}, {{Quantity::battery, Role::efficiency}}};
    if (battery.health > 0) panel.figures.push_back(detail("health " + percentText(battery.health)));
    if (battery.powerWatts > 0) panel.figures.push_back(detail(wattsText(battery.powerWatts)));
    if (battery.timeRemainingMinutes >= 0) {
        panel.figures.push_back(
            detail(durationText(battery.timeRemainingMinutes) + (battery.isCharging ? " to full" : " left")));
    }
    panel.figures.push_back(detail(battery.isCharging ? "charging" : battery.onACPower ? "on AC" : "discharging"));
    panel.figures.push_back({fittedRight(percentText(battery.level), 4),
                             battery.level <= 0.1 && !battery.onACPower ? Role::critical : Role::plain});
    return panel;
}

}  // namespace

std::vector<Panel> panelsFor(const SnapshotReply& reply, const History& history, const SettingsStore& settings) {
    const SystemSnapshot& snapshot = reply.snapshot;
    std::vector<Panel> panels{processorPanel(reply)};
    if (!snapshot.cpu.perCoreUsage.empty()) panels.push_back(coresPanel(snapshot.cpu, settings.freqUnit()));
    panels.push_back(memoryPanel(snapshot.memory));
    if (history.isKnown(Quantity::gpu)) panels.push_back(graphicsPanel(snapshot.gpu, settings.freqUnit()));
    panels.push_back(networkPanel(snapshot.network));
    panels.push_back(diskPanel(snapshot.disk));
    if (history.isKnown(Quantity::temperature)) panels.push_back(temperaturePanel(snapshot, settings.tempUnit()));
    if (history.isKnown(Quantity::power)) panels.push_back(powerPanel(snapshot.power));
    panels.push_back({"Load", {level(snapshot.load.value)}, {{Quantity::load, Role::load}}});
    if (history.isKnown(Quantity::battery)) panels.push_back(batteryPanel(snapshot.battery));
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
    static constexpr std::array<std::string_view, 6> titles{"CPU", "GPU", "Memory", "Disk", "Sockets", "Power"};
    return titles[static_cast<std::size_t>(category)];
}

}  // namespace zqm
