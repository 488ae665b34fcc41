#include "ZQMHelper/SourcesReport.h"

#include <algorithm>
#include <array>
#include <vector>

#include "Platform/Machine/SourceReport.h"
#include "Platform/Process/Clock.h"
#include "Support/UnitText.h"
#include "ZQMHelper/Shared/BatteryReader.h"
#include "ZQMHelper/Shared/CPUReader.h"
#include "ZQMHelper/Shared/DiskReader.h"
#include "ZQMHelper/Shared/FrequencyReader.h"
#include "ZQMHelper/Shared/GPUReader.h"
#include "ZQMHelper/Shared/IPReader.h"
#include "ZQMHelper/Shared/MemoryReader.h"
#include "ZQMHelper/Shared/NetworkReader.h"
#include "ZQMHelper/Shared/PowerReader.h"
#include "ZQMHelper/Shared/ProcessReader.h"
#include "ZQMHelper/Shared/TemperatureReader.h"

namespace zqm {
namespace {

constexpr Seconds interval(1);

enum class Source {
    cpu,
    kinds,
    memory,
    network,
    disk,
    gpu,
    battery,
    power,
    frequency,
    temperature,
    address,
    processes,
    count
};

/// One reading of everything, and how long each reader took.
struct Readings {
    CPUMetrics cpu;
    std::vector<CoreKind> kinds;
    MemoryMetrics memory;
    NetworkMetrics network;
    DiskMetrics disk;
    GPUMetrics gpu;
    BatteryMetrics battery;
    PowerMetrics power;
    FrequencyReader::Result frequency;
    TemperatureReader::Result temperature;
    IPReader::LocalAddresses addresses;
    IPReader::Proxy proxy;
    std::array<std::size_t, allCases<ProcessCategory>().size()> ranked{};  // processes in each ranking
    std::array<Seconds, static_cast<std::size_t>(Source::count)> took{};
};

class Readers {
public:
    explicit Readers(Platform& platform) : platform_(platform) {}

    Readings read() {
        Readings readings;
        const auto timed = [&](Source source, auto& result, auto&& reading) {
            const MonotonicTime begin = platform_.clock.monotonic();
            result = reading();
            readings.took[static_cast<std::size_t>(source)] = platform_.clock.monotonic() - begin;
        };
        timed(Source::cpu, readings.cpu, [&] { return cpu_.sample(); });
        timed(Source::kinds, readings.kinds, [&] { return CPUReader::detectCoreKinds(platform_); });
        timed(Source::memory, readings.memory, [&] { return memory_.sample(); });
        timed(Source::network, readings.network, [&] { return network_.sample(); });
        timed(Source::disk, readings.disk, [&] { return disk_.sample(); });
        timed(Source::gpu, readings.gpu, [&] { return gpu_.sample(); });
        timed(Source::battery, readings.battery, [&] { return battery_.sample(); });
        timed(Source::power, readings.power, [&] { return power_.sample(battery_.drainWatts()); });
        timed(Source::frequency, readings.frequency, [&] { return frequency_.sample(); });
        timed(Source::temperature, readings.temperature, [&] { return temperature_.sample(); });
        timed(Source::address, readings.addresses, [&] { return IPReader::localIPv4(platform_); });
        readings.proxy = IPReader::detectProxy(platform_, {});
        timed(Source::processes, readings.ranked, [&] { return rank(); });
        return readings;
    }

private:
    decltype(Readings::ranked) rank() {
        processes_->tick();
        decltype(Readings::ranked) ranked{};
        for (const ProcessCategory category : allCases<ProcessCategory>()) {
            constexpr std::size_t all = 100;
            ranked[static_cast<std::size_t>(category)] = processes_->cached(category, all).size();
        }
        return ranked;
    }

    Platform& platform_;
    CPUReader cpu_{platform_};
    MemoryReader memory_{platform_};
    NetworkReader network_{platform_};
    DiskReader disk_{platform_};
    GPUReader gpu_{platform_};
    BatteryReader battery_{platform_};
    PowerReader power_{std::make_shared<SMCBridge>(platform_), platform_};
    FrequencyReader frequency_{platform_};
    TemperatureReader temperature_{platform_};
    std::shared_ptr<ProcessReader> processes_ = std::make_shared<ProcessReader>(platform_);
};

// Figures as a person reads them.

std::string bytes(std::uint64_t count) {
    return bytesText(static_cast<double>(count));
}
std::string percent(double fraction) {
    return fixedText(fraction * 100, 1, " %");
}
std::string celsius(double value) {
    return value > 0 ? fixedText(value, 1, " °C") : "";
}
std::string megahertz(double value, double highest) {
    return fixedText(value, 0, "") + (highest > 0 ? fixedText(highest, 0, " MHz").insert(0, " of ") : " MHz");
}

std::string coreKinds(const Readings& now) {
    std::string text;
    for (const CoreKind kind : allCases<CoreKind>()) {
        const auto count = std::count(now.kinds.begin(), now.kinds.end(), kind);
        if (count > 0) text += (text.empty() ? "" : ", ") + std::to_string(count) + " " + std::string(rawValue(kind));
    }
    return text;
}

std::string pressure(const Readings& now) {
    switch (now.memory.pressureLevel) {
        case 0:
            return "";
        case 1:
            return "normal";
        case 2:
            return "warning";
        case 4:
            return "critical";
        default:
            return "level " + std::to_string(now.memory.pressureLevel);
    }
}

std::string clusterFrequencies(const Readings& now) {
    const FrequencyReader::Result& read = now.frequency;
    if (read.efficiencyMHz <= 0 && read.performanceMHz <= 0) return "";
    return "E " + megahertz(read.efficiencyMHz, read.efficiencyMaxMHz) + ", P " +
           megahertz(read.performanceMHz, read.performanceMaxMHz);
}

std::string coreFrequencies(const Readings& now) {
    const auto& cores = now.frequency.perCoreMHz;
    if (cores.empty()) return "";
    const auto [least, most] = std::minmax_element(
        cores.begin(), cores.end(), [](const auto& left, const auto& right) { return left.second < right.second; });
    return std::to_string(cores.size()) + (cores.size() == 1 ? " core, " : " cores, ") +
           fixedText(least->second, 0, " to ") + fixedText(most->second, 0, " MHz");
}

std::string gpuFrequency(const Readings& now) {
    const double value = now.frequency.gpuMHz > 0 ? now.frequency.gpuMHz : now.gpu.frequencyMHz;
    return value > 0 ? megahertz(value, std::max(now.frequency.gpuMaxMHz, now.gpu.maxFrequencyMHz)) : "";
}

std::string battery(const Readings& now) {
    const BatteryMetrics& battery = now.battery;
    if (!battery.isPresent) return "";
    return percent(battery.level) +
           (battery.isCharging  ? " charging, "
            : battery.onACPower ? " idle, "
                                : " in use, ") +
           wattsText(battery.powerWatts) + ", health " + percent(battery.health);
}

std::string adapter(const Readings& now) {
    if (now.battery.adapterWatts > 0) return fixedText(now.battery.adapterWatts, 0, " W");
    return now.battery.onACPower ? "connected" : "";
}

/// How many processes a ranking holds now; idle ones are in none.
template <ProcessCategory category>
std::string ranked(const Readings& now) {
    const std::size_t count = now.ranked[static_cast<std::size_t>(category)];
    return count > 0 ? std::to_string(count) + " ranked" : "";
}

/// A family, the reader that reads it, and its present value; empty: nothing was read.
struct Row {
    MetricFamily family;
    Source source;
    std::string (*value)(const Readings& now);
};

constexpr Row rows[]{
    {MetricFamily::cpuUsage, Source::cpu,
     [](const Readings& now) {
         const auto count = now.cpu.perCoreUsage.size();
         return count > 0 ? percent(now.cpu.totalUsage) + " of " + std::to_string(count) + " processors" : "";
     }},
    {MetricFamily::coreKinds, Source::kinds, coreKinds},
    {MetricFamily::memory, Source::memory,
     [](const Readings& now) {
         return now.memory.usedBytes > 0 ? bytes(now.memory.usedBytes) + " of " + bytes(now.memory.totalBytes) : "";
     }},
    {MetricFamily::swap, Source::memory,
     [](const Readings& now) { return bytes(now.memory.swapUsedBytes) + " of " + bytes(now.memory.swapTotalBytes); }},
    {MetricFamily::memoryPressure, Source::memory, pressure},
    {MetricFamily::network, Source::network,
     [](const Readings& now) {
         return "in " + rateText(now.network.downloadBytesPerSecond) + ", out " +
                rateText(now.network.uploadBytesPerSecond);
     }},
    {MetricFamily::disk, Source::disk,
     [](const Readings& now) {
         return "read " + rateText(now.disk.readBytesPerSecond) + ", written " + rateText(now.disk.writeBytesPerSecond);
     }},
    {MetricFamily::gpuUtilization, Source::gpu, [](const Readings& now) { return percent(now.gpu.utilization); }},
    {MetricFamily::gpuFrequency, Source::gpu, gpuFrequency},
    {MetricFamily::cpuFrequency, Source::frequency, clusterFrequencies},
    {MetricFamily::coreFrequency, Source::frequency, coreFrequencies},
    {MetricFamily::cpuPower, Source::power, [](const Readings& now) { return wattsText(now.power.cpuWatts); }},
    {MetricFamily::gpuPower, Source::power, [](const Readings& now) { return wattsText(now.power.gpuWatts); }},
    {MetricFamily::anePower, Source::power, [](const Readings& now) { return wattsText(now.power.aneWatts); }},
    {MetricFamily::dramPower, Source::power, [](const Readings& now) { return wattsText(now.power.dramWatts); }},
    {MetricFamily::systemPower, Source::power, [](const Readings& now) { return wattsText(now.power.systemWatts); }},
    {MetricFamily::displayPower, Source::power, [](const Readings& now) { return wattsText(now.power.displayWatts); }},
    {MetricFamily::cpuTemperature, Source::temperature,
     [](const Readings& now) { return celsius(now.temperature.cpu); }},
    {MetricFamily::gpuTemperature, Source::temperature,
     [](const Readings& now) {
         return celsius(now.gpu.temperatureC > 0 ? now.gpu.temperatureC : now.temperature.gpu);
     }},
    {MetricFamily::battery, Source::battery, battery},
    {MetricFamily::adapter, Source::battery, adapter},
    {MetricFamily::localAddress, Source::address,
     [](const Readings& now) { return std::string(now.addresses.physical.empty() ? "" : "known"); }},
    {MetricFamily::tunnelAddress, Source::address,
     [](const Readings& now) { return std::string(now.addresses.active.empty() ? "" : "known"); }},
    {MetricFamily::proxy, Source::address,
     [](const Readings& now) { return std::string(now.proxy.enabled ? "on" : ""); }},
    {MetricFamily::processes, Source::processes, ranked<ProcessCategory::cpu>},
    {MetricFamily::processSockets, Source::processes, ranked<ProcessCategory::network>},
    {MetricFamily::processDisk, Source::processes, ranked<ProcessCategory::disk>},
    {MetricFamily::processEnergy, Source::processes, ranked<ProcessCategory::power>},
};
static_assert(std::size(rows) == allCases<MetricFamily>().size());

using Cells = std::array<std::string, 4>;  // family, value, time, source

Cells cells(const Row& row, const Readings& now, const SourceDescription& source) {
    std::string value = row.value(now);
    std::string where = source.place;
    if (!source.remark.empty()) where += " (" + source.remark + ")";
    // A reading that is no different from none is believed only when there is a source that can be read.
    if (!source.absence.empty() && value == row.value({})) {
        value = "absent";
        where += (where.empty() ? "" : ": ") + source.absence;
    } else if (value.empty()) {
        value = "no reading";
    }
    const Seconds took = now.took[static_cast<std::size_t>(row.source)];
    return {std::string(rawValue(row.family)), std::move(value), fixedText(took.count() * 1000, 2, " ms"),
            std::move(where)};
}

/// The number of characters in UTF-8 text.
std::size_t width(const std::string& text) {
    return static_cast<std::size_t>(
        std::count_if(text.begin(), text.end(), [](unsigned char c) { return (c & 0xC0) != 0x80; }));
}

/// All columns but the last padded to the width of their widest cell.
std::string aligned(const std::vector<Cells>& table) {
    std::array<std::size_t, std::tuple_size_v<Cells>> widths{};
    for (const Cells& line : table) {
        for (std::size_t i = 0; i < line.size(); ++i) widths[i] = std::max(widths[i], width(line[i]));
    }
    std::string text;
    for (const Cells& line : table) {
        for (std::size_t i = 0; i + 1 < line.size(); ++i) {
            text += line[i] + std::string(widths[i] + 2 - width(line[i]), ' ');
        }
        text += line.back() + '\n';
    }
    return text;
}

}  // namespace

std::string sourcesReport(Platform& platform) {
    Readers readers(platform);
    readers.read();
    platform.clock.sleep(interval);
    const Readings now = readers.read();
    std::vector<Cells> table{{"family", "value", "time", "source"}};
    for (const Row& row : rows) table.push_back(cells(row, now, platform.sourceReport.describe(row.family)));
    return aligned(table);
}

}  // namespace zqm
