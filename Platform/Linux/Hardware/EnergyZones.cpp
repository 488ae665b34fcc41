#include "Platform/Linux/Hardware/EnergyZones.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "Platform/Linux/Kernel/KernelText.h"

namespace zqm {
namespace {

const std::string powercap = "/sys/class/powercap";

// A counter that falls has passed its range or was set back to 0, as by a sleep of the machine. The former means a
// growth that power can explain.
constexpr double mostWatts = 10'000;
constexpr double microjoules = 1e6;  // per joule

/// Counts what grew, up to what a signed number holds.
void grow(std::uint64_t& total, std::uint64_t growth) {
    constexpr std::uint64_t most = std::numeric_limits<std::int64_t>::max();
    total = std::min(addSaturated(total, growth), most);
}

}  // namespace

std::uint64_t EnergyCounter::read(MonotonicTime now) {
    std::string_view rest = file_.read().value_or("");
    auto line = takeLine(rest);
    const auto value = line ? takeCount(*line) : std::nullopt;
    if (!value || (range_ > 0 && *value > range_)) return 0;
    const auto last = std::exchange(last_, value);
    const double seconds = std::max((now - std::exchange(lastTime_, now)).count(), 1.0);
    if (!last) return 0;
    if (*value >= *last) return *value - *last;
    const std::uint64_t growth = range_ > *last ? range_ - *last + *value : 0;
    return static_cast<double>(growth) <= mostWatts * seconds * microjoules ? growth : 0;
}

std::vector<PackageEnergy> EnergyZones::read() {
    MutexLock lock(mutex_);
    discover();
    const MonotonicTime now = clock_.monotonic();
    const bool isDue = reading_.isDue(now);
    std::vector<PackageEnergy> energies;
    for (Package& package : packages_) {
        if (isDue) {
            const std::uint64_t whole = package.package.read(now);
            const std::uint64_t gpu = package.gpu ? package.gpu->read(now) : 0;
            grow(package.energy.processor, whole - std::min(whole, gpu));
            if (package.gpu) grow(*package.energy.gpu, gpu);
            if (package.memory) grow(*package.energy.memory, package.memory->read(now));
        }
        energies.push_back(package.energy);
    }
    return energies;
}

std::optional<double> EnergyZones::packageMillijoules() {
    constexpr double microjoulesPerMillijoule = 1000;
    const auto packages = read();
    if (packages.empty()) return std::nullopt;
    double sum = 0;
    for (const PackageEnergy& package : packages) {
        sum += static_cast<double>(package.processor) + static_cast<double>(package.gpu.value_or(0));
    }
    return sum / microjoulesPerMillijoule;
}

std::optional<double> EnergyZones::systemPower() {
    MutexLock lock(mutex_);
    discover();
    if (!system_) return std::nullopt;
    const MonotonicTime now = clock_.monotonic();
    const auto growth = static_cast<double>(system_->read(now));
    const auto before = std::exchange(systemTime_, now);
    const double seconds = before ? (now - *before).count() : 0;
    return seconds > 0 ? std::optional(growth / microjoules / seconds) : std::nullopt;
}

bool EnergyZones::hasSystemCounter() {
    MutexLock lock(mutex_);
    discover();
    return system_.has_value();
}

/// Zones of the class are named "intel-rapl:N", on AMD too; "intel-rapl-mmio:N" shows the same packages again by
/// another way and is passed over.
void EnergyZones::discover() {
    if (std::exchange(isDiscovered_, true)) return;
    for (const std::string& zone : root_.names(powercap, "intel-rapl:")) {
        const std::string directory = powercap + "/" + zone;
        if (std::count(zone.begin(), zone.end(), ':') != 1) continue;
        const std::string name = root_.text(directory + "/name").value_or("");
        if (name == "psys") system_ = counter(directory);
        if (!name.starts_with("package")) continue;
        auto whole = counter(directory);
        if (!whole) continue;
        Package package{
            .energy = {.name = name, .gpu = {}, .memory = {}}, .package = std::move(*whole), .gpu = {}, .memory = {}};
        discoverParts(package, zone);
        packages_.push_back(std::move(package));
    }
}

void EnergyZones::discoverParts(Package& package, const std::string& zone) {
    for (const std::string& part : root_.names(powercap, zone + ":")) {
        const std::string directory = powercap + "/" + part;
        const std::string name = root_.text(directory + "/name").value_or("");
        if (name == "uncore" && (package.gpu = counter(directory))) package.energy.gpu = 0;
        if (name == "dram" && (package.memory = counter(directory))) package.energy.memory = 0;
    }
}

/// nullopt when this user may not read it.
std::optional<EnergyCounter> EnergyZones::counter(const std::string& directory) const {
    if (!root_.number(directory + "/energy_uj")) return std::nullopt;
    return EnergyCounter(KernelFile(root_.path(directory + "/energy_uj")),
                         root_.number(directory + "/max_energy_range_uj").value_or(0));
}

}  // namespace zqm
