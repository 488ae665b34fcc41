#include "Platform/Linux/LinuxRegistry.h"

#include <algorithm>
#include <array>
#include <string>
#include <utility>

#include "Platform/Linux/Processors/ProcessorKinds.h"

namespace zqm {
namespace {

/// An entry that holds what it tells: a copy of the machine at the moment of the lookup.
class Entry final : public RegistryEntry {
public:
    Entry(std::string name, PropertyDictionary properties, std::vector<Entry> children = {})
        : name_(std::move(name)), properties_(std::move(properties)), children_(std::move(children)) {}

    std::optional<std::string> name() const override { return name_; }
    std::optional<std::vector<std::unique_ptr<RegistryEntry>>> children() const override {
        std::vector<std::unique_ptr<RegistryEntry>> children;
        for (const Entry& child : children_) children.push_back(std::make_unique<Entry>(child));
        return children;
    }
    std::optional<PropertyValue> property(std::string_view key) const override {
        const PropertyValue* value = find(properties_, key);
        return value ? std::optional(*value) : std::nullopt;
    }
    std::unique_ptr<UserClient> open(std::uint32_t) const override { return nullptr; }

private:
    std::string name_;
    PropertyDictionary properties_;
    std::vector<Entry> children_;
};

/// The entry of the controller, which is there to be opened.
class ControllerEntry final : public RegistryEntry {
public:
    explicit ControllerEntry(PowerController& controller) : controller_(controller) {}
    std::optional<std::string> name() const override { return "AppleSMC"; }
    std::optional<std::vector<std::unique_ptr<RegistryEntry>>> children() const override {
        return std::vector<std::unique_ptr<RegistryEntry>>{};
    }
    std::optional<PropertyValue> property(std::string_view) const override { return std::nullopt; }
    std::unique_ptr<UserClient> open(std::uint32_t) const override { return controller_.open(); }

private:
    PowerController& controller_;
};

/// How the power manager's properties call the kinds: a letter, a type number and the number of the table of steps.
struct KindCodes {
    ProcessorKind kind;
    std::uint8_t letter, type, table;
};
constexpr std::array kindCodes{KindCodes{ProcessorKind::efficiency, 'E', 0, 1},
                               KindCodes{ProcessorKind::middle, 'M', 1, 22},
                               KindCodes{ProcessorKind::performance, 'P', 2, 5}};
constexpr int graphicsTable = 9;

std::uint8_t clusterType(ProcessorKind kind) {
    return std::find_if(kindCodes.begin(), kindCodes.end(), [&](const KindCodes& codes) { return codes.kind == kind; })
        ->letter;
}

std::string tableName(int number) {
    return "voltage-states" + std::to_string(number) + "-sram";
}

/// A record of eight bytes per step: the frequency in kHz, and a voltage that nobody knows.
Bytes stepTable(const ClockSteps& steps) {
    Bytes table;
    for (const std::uint32_t step : steps) {
        for (int shift = 0; shift < 32; shift += 8) table.push_back(static_cast<std::uint8_t>(step >> shift));
        table.insert(table.end(), 4, 0);
    }
    return table;
}

}  // namespace

std::optional<std::vector<std::unique_ptr<RegistryEntry>>> LinuxRegistry::services(std::string_view className) {
    if (className == "AppleARMPE") return machine();
    if (className == "AppleARMIODevice") return powerManager();
    if (className == "IOBlockStorageDriver") return drives();
    if (className == "IOAccelerator") return graphics();
    if (className == "AppleSmartBattery") return battery();
    if (className == "AppleSMC") return controller();
    return Entries{};
}

/// Processors are named by their place among the ticks, which is how their kinds are matched with them.
LinuxRegistry::Entries LinuxRegistry::machine() {
    std::vector<Entry> processors;
    for (const ProcessorKind kind : readProcessorKinds(sources_.root, sources_.processors.numbers())) {
        PropertyDictionary properties;
        properties.emplace_back("cluster-type", Bytes{clusterType(kind)});
        processors.emplace_back("cpu" + std::to_string(processors.size()), std::move(properties));
    }
    Entries found;
    found.push_back(std::make_unique<Entry>("machine", PropertyDictionary{}, std::move(processors)));
    return found;
}

LinuxRegistry::Entries LinuxRegistry::powerManager() {
    PropertyDictionary properties;
    properties.emplace_back("name", Bytes{'p', 'm', 'g', 'r', 0});
    Bytes clusters;
    for (const KindCodes& codes : kindCodes) {
        const ClockSteps steps = sources_.frequencies.steps(codes.kind);
        if (steps.empty()) continue;
        clusters.insert(clusters.end(), {codes.table, codes.type, 0, 0, 0, 0, 0, 0});
        properties.emplace_back(tableName(codes.table), stepTable(steps));
    }
    const ClockSteps graphics = sources_.cards.steps();
    if (!clusters.empty()) properties.emplace_back("acc-clusters", std::move(clusters));
    if (!graphics.empty()) properties.emplace_back(tableName(graphicsTable), stepTable(graphics));
    Entries found;
    found.push_back(std::make_unique<Entry>("pmgr", std::move(properties)));
    return found;
}

LinuxRegistry::Entries LinuxRegistry::drives() {
    MutexLock lock(mutex_);
    Entries found;
    for (DriveBytes& drive : drives_.read()) {
        PropertyDictionary statistics;
        statistics.emplace_back("Bytes (Read)", static_cast<std::int64_t>(drive.read));
        statistics.emplace_back("Bytes (Write)", static_cast<std::int64_t>(drive.written));
        PropertyDictionary properties;
        properties.emplace_back("Statistics", std::move(statistics));
        found.push_back(std::make_unique<Entry>(std::move(drive.name), std::move(properties)));
    }
    return found;
}

LinuxRegistry::Entries LinuxRegistry::graphics() {
    Entries found;
    for (const GraphicsReading& card : sources_.cards.read()) {
        PropertyDictionary statistics;
        if (card.busyPercent) statistics.emplace_back("Device Utilization %", *card.busyPercent);
        if (card.megahertz) statistics.emplace_back("Core Clock(MHz)", *card.megahertz);
        PropertyDictionary properties;
        properties.emplace_back("PerformanceStatistics", std::move(statistics));
        found.push_back(std::make_unique<Entry>(card.name, std::move(properties)));
    }
    return found;
}

/// The gauge of a battery counts charge. Energies become charges at the present voltage, with which readers multiply
/// them again; where none is told any would do.
LinuxRegistry::Entries LinuxRegistry::battery() {
    Entries found;
    const auto battery = sources_.batteries.read().battery;
    if (!battery) return found;
    constexpr double anyVolts = 10;
    constexpr double thousandths = 1000;
    const bool hasEnergies = battery->full || battery->watts;
    const double volts = battery->volts.value_or(anyVolts);
    PropertyDictionary properties;
    auto add = [&](const char* key, std::optional<double> wattHours, std::optional<double> ampereHours) {
        if (wattHours) ampereHours = *wattHours / volts;
        if (ampereHours) properties.emplace_back(key, *ampereHours * thousandths);
    };
    add("DesignCapacity", battery->design, battery->designAmpereHours);
    add("AppleRawMaxCapacity", battery->full, battery->fullAmpereHours);
    if (battery->volts || hasEnergies) properties.emplace_back("Voltage", volts * thousandths);
    if (battery->watts) properties.emplace_back("InstantAmperage", *battery->watts / volts * thousandths);
    properties.emplace_back("CycleCount", battery->cycles);
    found.push_back(std::make_unique<Entry>("AppleSmartBattery", std::move(properties)));
    return found;
}

LinuxRegistry::Entries LinuxRegistry::controller() {
    Entries found;
    if (sources_.controller.exists()) found.push_back(std::make_unique<ControllerEntry>(sources_.controller));
    return found;
}

}  // namespace zqm
