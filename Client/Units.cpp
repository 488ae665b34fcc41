#include "Client/Units.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>

#include "Client/Texts.h"

namespace zqm {

std::string percentText(double fraction) {
    return fixedText(fraction * 100, 0, "%");
}

std::string frequencyText(double megahertz, FreqUnit unit) {
    return unit == FreqUnit::ghz ? fixedText(megahertz / 1000, 2, " GHz") : fixedText(megahertz, 0, " MHz");
}

std::string temperatureText(double celsius, TempUnit unit) {
    switch (unit) {
        case TempUnit::fahrenheit:
            return fixedText(celsius * 9 / 5 + 32, 0, " °F");
        case TempUnit::kelvin:
            return fixedText(celsius + 273.15, 0, " K");
        case TempUnit::celsius:
            break;
    }
    return fixedText(celsius, 0, " °C");
}

std::string durationText(std::int64_t minutes) {
    const std::string rest = std::to_string(minutes % 60);
    return std::to_string(minutes / 60) + (rest.size() < 2 ? ":0" : ":") + rest;
}

std::string spanText(Seconds span) {
    const auto seconds = static_cast<std::int64_t>(std::lround(span.count()));
    return seconds < 120    ? std::to_string(seconds) + " s"
           : seconds < 7200 ? std::to_string(seconds / 60) + " min"
                            : std::to_string(seconds / 3600) + " h";
}

std::string batteryState(const BatteryMetrics& battery) {
    return battery.isCharging ? said("charging") : battery.onACPower ? said("on AC") : said("on battery");
}

WallTime wallTimeNow() {
    return WallTime(std::chrono::system_clock::now().time_since_epoch());
}

std::tm localTime(WallTime time) {
    const auto seconds = static_cast<std::time_t>(std::clamp(time.time_since_epoch().count(), 0.0, 4e9));
    std::tm parts{};
    ::localtime_r(&seconds, &parts);
    return parts;
}

std::string localTimeText(WallTime time, const char* format) {
    const std::tm parts = localTime(time);
    std::array<char, 64> text;
    return {text.data(), std::strftime(text.data(), text.size(), format, &parts)};
}

std::optional<Seconds> ageIfOld(const SystemSnapshot& snapshot, Seconds interval, WallTime now) {
    const Seconds age = now - snapshot.timestamp;
    return age > 3 * std::max(interval, Seconds(1)) ? std::optional(age) : std::nullopt;
}

}  // namespace zqm
