#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "Platform/Process/Clock.h"
#include "Support/RawValue.h"
#include "Support/Schema.h"

/// The records of one complete sample of the machine. Plain values: what a source does not give keeps its default.
/// Field names are the JSON keys and a contract with every client: they must not drift.
namespace zqm {

/// The wall clock of the current platform; 1970 in a program that has none and only decodes.
WallTime currentWallTime();

enum class CoreKind { efficiency, performance, unknown };
template <>
struct RawValues<CoreKind> {
    static constexpr std::array<std::string_view, 3> texts{"efficiency", "performance", "unknown"};
};

struct CPUMetrics {
    std::vector<double> perCoreUsage;  // busy fraction of each logical processor, 0–1, in the kernel's order
    std::vector<CoreKind> coreKinds;   // as long as perCoreUsage
    double totalUsage = 0;             // mean of perCoreUsage
    double efficiencyFreqMHz = 0;
    double performanceFreqMHz = 0;
    double efficiencyMaxMHz = 0;
    double performanceMaxMHz = 0;
    std::map<std::string, double> perCoreFreqMHz;  // keyed by kind and number: "E0", "P3"
    double temperatureC = 0;
};
template <>
struct Schema<CPUMetrics> {
    static constexpr std::tuple fields{Field{"perCoreUsage", &CPUMetrics::perCoreUsage, Unit::ratio},
                                       Field{"coreKinds", &CPUMetrics::coreKinds},
                                       Field{"totalUsage", &CPUMetrics::totalUsage, Unit::ratio},
                                       Field{"efficiencyFreqMHz", &CPUMetrics::efficiencyFreqMHz, Unit::megahertz},
                                       Field{"performanceFreqMHz", &CPUMetrics::performanceFreqMHz, Unit::megahertz},
                                       Field{"efficiencyMaxMHz", &CPUMetrics::efficiencyMaxMHz, Unit::megahertz},
                                       Field{"performanceMaxMHz", &CPUMetrics::performanceMaxMHz, Unit::megahertz},
                                       Field{"perCoreFreqMHz", &CPUMetrics::perCoreFreqMHz, Unit::megahertz},
                                       Field{"temperatureC", &CPUMetrics::temperatureC, Unit::celsius}};
};
static_assert(isComplete<CPUMetrics>);

struct MemoryMetrics {
    std::uint64_t totalBytes = 0;  // installed
    std::uint64_t usedBytes = 0;   // appBytes + wiredBytes + compressedBytes
    std::uint64_t appBytes = 0;
    std::uint64_t wiredBytes = 0;
    std::uint64_t compressedBytes = 0;  // occupied by the compressor
    std::int64_t pressureLevel = 0;     // the kernel's level as read: 1 normal, 2 warning, 4 critical
    double pressureFraction = 0;        // (wired + compressed) / total
    std::uint64_t swapUsedBytes = 0;
    std::uint64_t swapTotalBytes = 0;
};
template <>
struct Schema<MemoryMetrics> {
    static constexpr std::tuple fields{Field{"totalBytes", &MemoryMetrics::totalBytes, Unit::bytes},
                                       Field{"usedBytes", &MemoryMetrics::usedBytes, Unit::bytes},
                                       Field{"appBytes", &MemoryMetrics::appBytes, Unit::bytes},
                                       Field{"wiredBytes", &MemoryMetrics::wiredBytes, Unit::bytes},
                                       Field{"compressedBytes", &MemoryMetrics::compressedBytes, Unit::bytes},
                                       Field{"pressureLevel", &MemoryMetrics::pressureLevel},
                                       Field{"pressureFraction", &MemoryMetrics::pressureFraction, Unit::ratio},
                                       Field{"swapUsedBytes", &MemoryMetrics::swapUsedBytes, Unit::bytes},
                                       Field{"swapTotalBytes", &MemoryMetrics::swapTotalBytes, Unit::bytes}};
};
static_assert(isComplete<MemoryMetrics>);

struct NetworkMetrics {
    double uploadBytesPerSecond = 0;
    double downloadBytesPerSecond = 0;
    std::uint64_t totalUploaded = 0;    // the counters' sum, bytes
    std::uint64_t totalDownloaded = 0;  // the counters' sum, bytes
};
template <>
struct Schema<NetworkMetrics> {
    static constexpr std::tuple fields{
        Field{"uploadBytesPerSecond", &NetworkMetrics::uploadBytesPerSecond, Unit::bytesPerSecond},
        Field{"downloadBytesPerSecond", &NetworkMetrics::downloadBytesPerSecond, Unit::bytesPerSecond},
        Field{"totalUploaded", &NetworkMetrics::totalUploaded, Unit::bytes},
        Field{"totalDownloaded", &NetworkMetrics::totalDownloaded, Unit::bytes}};
};
static_assert(isComplete<NetworkMetrics>);

struct DiskMetrics {
    double readBytesPerSecond = 0;
    double writeBytesPerSecond = 0;
};
template <>
struct Schema<DiskMetrics> {
    static constexpr std::tuple fields{
        Field{"readBytesPerSecond", &DiskMetrics::readBytesPerSecond, Unit::bytesPerSecond},
        Field{"writeBytesPerSecond", &DiskMetrics::writeBytesPerSecond, Unit::bytesPerSecond}};
};
static_assert(isComplete<DiskMetrics>);

struct GPUMetrics {
    double utilization = 0;  // busy fraction of the busiest GPU, 0–1
    double frequencyMHz = 0;
    double maxFrequencyMHz = 0;
    double temperatureC = 0;
};
template <>
struct Schema<GPUMetrics> {
    static constexpr std::tuple fields{Field{"utilization", &GPUMetrics::utilization, Unit::ratio},
                                       Field{"frequencyMHz", &GPUMetrics::frequencyMHz, Unit::megahertz},
                                       Field{"maxFrequencyMHz", &GPUMetrics::maxFrequencyMHz, Unit::megahertz},
                                       Field{"temperatureC", &GPUMetrics::temperatureC, Unit::celsius}};
};
static_assert(isComplete<GPUMetrics>);

struct BatteryMetrics {
    bool isPresent = false;
    bool isCharging = false;
    bool onACPower = false;
    double level = 0;   // charge, 0–1
    double health = 0;  // full-charge capacity / design capacity
    std::int64_t cycleCount = 0;
    double maxCapacityWh = 0;
    double designCapacityWh = 0;
    double powerWatts = 0;                   // flow in either direction, never negative
    double adapterWatts = 0;                 // the adapter's rating
    std::int64_t timeRemainingMinutes = -1;  // to full when charging, to empty on battery; -1 unknown
};
template <>
struct Schema<BatteryMetrics> {
    static constexpr std::tuple fields{
        Field{"isPresent", &BatteryMetrics::isPresent},
        Field{"isCharging", &BatteryMetrics::isCharging},
        Field{"onACPower", &BatteryMetrics::onACPower},
        Field{"level", &BatteryMetrics::level, Unit::ratio},
        Field{"health", &BatteryMetrics::health, Unit::ratio},
        Field{"cycleCount", &BatteryMetrics::cycleCount, Unit::count},
        Field{"maxCapacityWh", &BatteryMetrics::maxCapacityWh, Unit::wattHours},
        Field{"designCapacityWh", &BatteryMetrics::designCapacityWh, Unit::wattHours},
        Field{"powerWatts", &BatteryMetrics::powerWatts, Unit::watts},
        Field{"adapterWatts", &BatteryMetrics::adapterWatts, Unit::watts},
        Field{"timeRemainingMinutes", &BatteryMetrics::timeRemainingMinutes, Unit::minutes}};
};
static_assert(isComplete<BatteryMetrics>);

struct ClockMetrics {
    WallTime now = currentWallTime();
};
template <>
struct Schema<ClockMetrics> {
    static constexpr std::tuple fields{Field{"now", &ClockMetrics::now, Unit::seconds}};
};
static_assert(isComplete<ClockMetrics>);

struct IPMetrics {
    std::string localIPv4;   // dotted decimal
    std::string publicIP;    // as the geolocation service reports it
    std::string regionFlag;  // flag of its country, regional-indicator characters
    std::string regionName;
    bool proxyDetected = false;
    std::string utunGateway;  // address of the tunnel interface
};
template <>
struct Schema<IPMetrics> {
    static constexpr std::tuple fields{
        Field{"localIPv4", &IPMetrics::localIPv4},         Field{"publicIP", &IPMetrics::publicIP},
        Field{"regionFlag", &IPMetrics::regionFlag},       Field{"regionName", &IPMetrics::regionName},
        Field{"proxyDetected", &IPMetrics::proxyDetected}, Field{"utunGateway", &IPMetrics::utunGateway}};
};
static_assert(isComplete<IPMetrics>);

struct PowerMetrics {
    double cpuWatts = 0;
    double gpuWatts = 0;
    double aneWatts = 0;  // neural engine
    double dramWatts = 0;
    double totalWatts = 0;   // the four above
    double systemWatts = 0;  // the whole machine
    double displayWatts = 0;
};
template <>
struct Schema<PowerMetrics> {
    static constexpr std::tuple fields{Field{"cpuWatts", &PowerMetrics::cpuWatts, Unit::watts},
                                       Field{"gpuWatts", &PowerMetrics::gpuWatts, Unit::watts},
                                       Field{"aneWatts", &PowerMetrics::aneWatts, Unit::watts},
                                       Field{"dramWatts", &PowerMetrics::dramWatts, Unit::watts},
                                       Field{"totalWatts", &PowerMetrics::totalWatts, Unit::watts},
                                       Field{"systemWatts", &PowerMetrics::systemWatts, Unit::watts},
                                       Field{"displayWatts", &PowerMetrics::displayWatts, Unit::watts}};
};
static_assert(isComplete<PowerMetrics>);

struct LoadIndex {
    double value = 0;  // how hard the machine works, 0–1
};
template <>
struct Schema<LoadIndex> {
    static constexpr std::tuple fields{Field{"value", &LoadIndex::value, Unit::ratio}};
};
static_assert(isComplete<LoadIndex>);

struct SystemSnapshot {
    CPUMetrics cpu;
    MemoryMetrics memory;
    NetworkMetrics network;
    DiskMetrics disk;
    GPUMetrics gpu;
    BatteryMetrics battery;
    ClockMetrics clock;
    IPMetrics ip;
    PowerMetrics power;
    LoadIndex load;
    WallTime timestamp = currentWallTime();  // when the sampling began
};
template <>
struct Schema<SystemSnapshot> {
    static constexpr std::tuple fields{Field{"cpu", &SystemSnapshot::cpu},
                                       Field{"memory", &SystemSnapshot::memory},
                                       Field{"network", &SystemSnapshot::network},
                                       Field{"disk", &SystemSnapshot::disk},
                                       Field{"gpu", &SystemSnapshot::gpu},
                                       Field{"battery", &SystemSnapshot::battery},
                                       Field{"clock", &SystemSnapshot::clock},
                                       Field{"ip", &SystemSnapshot::ip},
                                       Field{"power", &SystemSnapshot::power},
                                       Field{"load", &SystemSnapshot::load},
                                       Field{"timestamp", &SystemSnapshot::timestamp, Unit::seconds}};
};
static_assert(isComplete<SystemSnapshot>);

}  // namespace zqm
