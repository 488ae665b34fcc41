#include "Platform/Linux/Hardware/EnergyZones.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <system_error>
#include <utility>

namespace zqm {
namespace {

const std::string powercap = "/sys/class/powercap";

constexpr std::string_view wayOut =
    "; see \"Energy counters\" in SECURITY.md, then, until the next boot: sudo chgrp $(id -gn) "
    "/sys/class/powercap/*/energy_uj && sudo chmod g+r /sys/class/powercap/*/energy_uj";

std::optional<double> millijoules(std::optional<std::uint64_t> total) {
    constexpr double microjoulesPerMillijoule = 1000;
    return total ? std::optional(static_cast<double>(*total) / microjoulesPerMillijoule) : std::nullopt;
}

}  // namespace

EnergyReading EnergyZones::read() {
    MutexLock lock(mutex_);
    discover();
    const MonotonicTime now = clock_.monotonic();
    for (Package& package : packages_) {
        const std::uint64_t whole = package.whole.read(now);
        const std::uint64_t gpu = package.gpu ? package.gpu->read(now) : 0;
        grow(totals_.processors, whole - std::min(whole, gpu));
        if (package.gpu) grow(*totals_.gpus, gpu);
        if (package.memory) grow(*totals_.memory, package.memory->read(now));
    }
    if (system_) grow(*totals_.system, system_->read(now));
    EnergyReading energy;
    if (!packages_.empty()) energy.cpu = millijoules(totals_.processors);
    energy.gpu = millijoules(totals_.gpus);
    energy.dram = millijoules(totals_.memory);
    energy.system = millijoules(totals_.system);
    return energy;
}

std::optional<double> EnergyZones::packageMillijoules() {
    const EnergyReading energy = read();
    return energy.cpu ? std::optional(*energy.cpu + energy.gpu.value_or(0)) : std::nullopt;
}

/// Zones of the class are named "intel-rapl:N", on AMD too; "intel-rapl-mmio:N" shows the same packages again by
/// another way and is passed over.
void EnergyZones::discover() {
    if (!packages_.empty() || !discovery_.isDue(clock_.monotonic())) return;
    for (const std::string& zone : root_.names(powercap, "intel-rapl:")) {
        const std::string directory = powercap + "/" + zone;
        if (std::count(zone.begin(), zone.end(), ':') != 1) continue;
        const std::string name = root_.text(directory + "/name").value_or("");
        if (name == "psys" && !system_ && (system_ = counter(directory))) totals_.system = 0;
        if (!name.starts_with("package")) continue;
        auto whole = counter(directory);
        if (!whole) continue;
        Package package{.whole = std::move(*whole), .gpu = {}, .memory = {}};
        discoverParts(package, zone);
        packages_.push_back(std::move(package));
    }
}

void EnergyZones::discoverParts(Package& package, const std::string& zone) {
    for (const std::string& part : root_.names(powercap, zone + ":")) {
        const std::string directory = powercap + "/" + part;
        const std::string name = root_.text(directory + "/name").value_or("");
        if (name == "uncore" && (package.gpu = counter(directory))) totals_.gpus = 0;
        if (name == "dram" && (package.memory = counter(directory))) totals_.memory = 0;
    }
}

/// nullopt when this user may not read it.
std::optional<EnergyCounter> EnergyZones::counter(const std::string& directory) const {
    if (!root_.number(directory + "/energy_uj")) return std::nullopt;
    return EnergyCounter(KernelFile(root_.path(directory + "/energy_uj")),
                         root_.number(directory + "/max_energy_range_uj").value_or(0));
}

SourceDescription EnergyZones::describe(MetricFamily family) {
    const bool isPackage = family == MetricFamily::cpuPower;
    if (family == MetricFamily::processEnergy) family = MetricFamily::cpuPower;
    MutexLock lock(mutex_);
    discover();
    const EnergyCounter* counter = nullptr;
    if (family == MetricFamily::systemPower && system_) counter = &*system_;
    for (const Package& package : packages_) {
        if (counter) break;
        if (family == MetricFamily::cpuPower) counter = &package.whole;
        if (family == MetricFamily::gpuPower && package.gpu) counter = &*package.gpu;
        if (family == MetricFamily::dramPower && package.memory) counter = &*package.memory;
    }
    if (counter) return root_.describe(counter->file());
    constexpr std::array zones{std::pair(MetricFamily::cpuPower, "package"),
                               std::pair(MetricFamily::gpuPower, "uncore"), std::pair(MetricFamily::dramPower, "dram"),
                               std::pair(MetricFamily::systemPower, "psys")};
    const std::string_view name =
        std::find_if(zones.begin(), zones.end(), [&](const auto& zone) { return zone.first == family; })->second;
    for (const std::string& zone : root_.names(powercap, "intel-rapl:")) {
        const std::string directory = powercap + "/" + zone;
        if (root_.text(directory + "/name").value_or("").starts_with(name)) {
            SourceDescription source = root_.describe(directory + "/energy_uj");
            if (isPackage && source.absence == std::generic_category().message(EACCES)) source.absence += wayOut;
            return source;
        }
    }
    return {powercap + "/intel-rapl:*/energy_uj (" + std::string(name) + ")", "no such zone"};
}

}  // namespace zqm
