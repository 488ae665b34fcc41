#include "Client/Units.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <span>

namespace zqm {
namespace {

std::string fixed(double value, int decimals, const char* unit) {
    std::array<char, 64> text;
    std::snprintf(text.data(), text.size(), "%.*f%s", decimals, std::isfinite(value) ? value : 0.0, unit);
    return text.data();
}

/// With three significant digits and the largest prefix that leaves at least one digit before the point.
std::string scaled(double value, double step, std::span<const char* const> units) {
    std::size_t unit = 0;
    while (unit + 1 < units.size() && std::abs(value) >= step - 0.5) {
        value /= step;
        ++unit;
    }
    if (unit == 0 || std::abs(value) >= 99.95) return fixed(value, 0, units[unit]);
    return fixed(value, std::abs(value) >= 9.995 ? 1 : 2, units[unit]);
}

}  // namespace

std::string percentText(double fraction) {
    return fixed(fraction * 100, 0, "%");
}

std::string bytesText(double bytes) {
    static constexpr std::array units{" B", " KiB", " MiB", " GiB", " TiB", " PiB", " EiB"};
    return scaled(bytes, 1024, units);
}

std::string rateText(double bytesPerSecond) {
    static constexpr std::array units{" B/s", " kB/s", " MB/s", " GB/s", " TB/s"};
    return scaled(bytesPerSecond, 1000, units);
}

std::string frequencyText(double megahertz, FreqUnit unit) {
    return unit == FreqUnit::ghz ? fixed(megahertz / 1000, 2, " GHz") : fixed(megahertz, 0, " MHz");
}

std::string temperatureText(double celsius, TempUnit unit) {
    switch (unit) {
        case TempUnit::fahrenheit:
            return fixed(celsius * 9 / 5 + 32, 0, " °F");
        case TempUnit::kelvin:
            return fixed(celsius + 273.15, 0, " K");
        case TempUnit::celsius:
            break;
    }
    return fixed(celsius, 0, " °C");
}

std::string wattsText(double watts) {
    return fixed(watts, std::abs(watts) < 9.995 ? 2 : 1, " W");
}

std::string durationText(std::int64_t minutes) {
    const std::string rest = std::to_string(minutes % 60);
    return std::to_string(minutes / 60) + (rest.size() < 2 ? ":0" : ":") + rest;
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

}  // namespace zqm
