#pragma once

#include <algorithm>
#include <cstdint>
#include <ctime>
#include <optional>
#include <string>

#include "Support/UnitText.h"
#include "ZQMHelper/Shared/Metrics.h"
#include "ZQMHelper/Shared/SettingsStore.h"

/// What the user's preferences and the snapshot's meaning add to the figures' texts.
namespace zqm {

std::string percentText(double fraction);               // "7%"
std::string frequencyText(double megahertz, FreqUnit);  // "3.20 GHz", "3204 MHz"
std::string temperatureText(double celsius, TempUnit);  // "41 °C", "106 °F", "314 K"
std::string durationText(std::int64_t minutes);         // "2:05"
std::string spanText(Seconds span);                     // "12 s", "7 min", "3 h"

std::string batteryState(const BatteryMetrics&);  // "on battery"

WallTime wallTimeNow();

/// An instant in the user's time zone, and its text in strftime's format.
std::tm localTime(WallTime time);
std::string localTimeText(WallTime time, const char* format);

/// The age of a sample that is older than three intervals, which count a second at least since a sample takes its time;
/// nullopt of a younger one.
std::optional<Seconds> ageIfOld(const SystemSnapshot& snapshot, Seconds interval, WallTime now);

/// Of the whole machine where that is known, else of its processors and memory.
inline double wholeWatts(const PowerMetrics& power) {
    return power.systemWatts > 0 ? power.systemWatts : power.totalWatts;
}

/// Whether there is a GPU to tell of. Its temperature proves nothing: without one it is the processor's.
inline bool hasGraphics(const GPUMetrics& gpu) {
    return gpu.utilization > 0 || gpu.frequencyMHz > 0 || gpu.maxFrequencyMHz > 0;
}

/// The share of the memory that is in use, 0–1; 0 where none is told.
inline double usedShare(const MemoryMetrics& memory) {
    return static_cast<double>(memory.usedBytes) / std::max(1.0, static_cast<double>(memory.totalBytes));
}

}  // namespace zqm
