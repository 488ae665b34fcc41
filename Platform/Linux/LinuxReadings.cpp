#include "Platform/Linux/LinuxReadings.h"

#include <array>
#include <utility>

#include "Platform/Linux/Processors/ProcessorKinds.h"

namespace zqm {

LinuxReadings::LinuxReadings(const RootDirectory& root, SystemSettings& settings, Clock& clock,
                             std::string nvidiaLibrary)
    : root_(root),
      processors_(root),
      clocks_(root, processors_, clock),
      memory_(root),
      energy_(root, clock),
      meter_(root, clock),
      batteries_(root, clock),
      cards_(root, clock, std::move(nvidiaLibrary)),
      temperatures_(root, clock),
      drives_(root),
      interfaces_(root),
      addresses_(root, interfaces_, clock),
      proxies_(root, settings, clock) {}

std::vector<ProcessorKind> LinuxReadings::processorKinds() {
    return readProcessorKinds(root_, processors_.numbers());
}

EnergyReading LinuxReadings::energy() {
    EnergyReading energy = energy_.read();
    energy.systemWatts = meter_.watts();
    return energy;
}

SourceDescription LinuxReadings::describe(MetricFamily family) {
    using enum MetricFamily;
    switch (family) {
        case cpuUsage:
            return processors_.describe();
        case coreKinds:
            return describeProcessorKinds(root_, processors_.numbers());
        case memory:
        case swap:
        case memoryPressure:
            return memory_.describe(family);
        case network:
            return interfaces_.describe();
        case disk:
            return drives_.describe();
        case gpuUtilization:
        case gpuFrequency:
            return cards_.describe(family).value_or(
                SourceDescription{"/sys/class/drm/card*", "no card whose driver tells"});
        case cpuFrequency:
        case coreFrequency:
            return clocks_.describe();
        case cpuPower:
        case gpuPower:
            return describePower(family);
        case processEnergy:
        case dramPower:
            return energy_.describe(family);
        case systemPower: {
            SourceDescription counter = energy_.describe(family);
            for (SourceDescription& other : std::array{meter_.describe(), batteries_.describe(family)}) {
                if (!counter.absence.empty() && other.absence.empty()) counter = std::move(other);
            }
            return counter;
        }
        case anePower:
        case displayPower:
            return {"", "not measured on Linux"};
        case gpuTemperature:
            if (auto card = cards_.describe(family)) return *card;
            return temperatures_.describe(family);
        case cpuTemperature:
            return temperatures_.describe(family);
        case battery:
        case adapter:
            return batteries_.describe(family);
        case localAddress:
        case tunnelAddress:
            return addresses_.describe();
        case proxy:
            return proxies_.describe();
        default:
            return {};
    }
}

/// Zones and cards add up for the GPU's; for the processor's a card stands in.
SourceDescription LinuxReadings::describePower(MetricFamily family) {
    SourceDescription zone = energy_.describe(family);
    const auto card = cards_.describe(family);
    if (!card || (zone.absence.empty() && family == MetricFamily::cpuPower)) return zone;
    if (!zone.absence.empty()) return *card;
    return {zone.place + ", " + card->place, "", card->remark};
}

}  // namespace zqm
