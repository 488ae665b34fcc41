#include "Client/History/HistoryText.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <ctime>
#include <limits>
#include <span>

#include "Client/History/Tracks.h"
#include "Client/Terminal.h"
#include "Client/Texts.h"
#include "Client/Units.h"
#include "Support/Json.h"
#include "Support/Text.h"

namespace zqm {
namespace {

constexpr std::uint64_t fortnight = 14 * 24 * 3600;
constexpr std::array<std::string_view, 3> partNames{"", ".least", ".greatest"};

Unit unitOf(std::string_view name) {
    const auto track = fromRawValue<Track>(name);
    return track ? unitOf(*track) : Unit::ratio;  // a processor's share
}

std::string_view unitName(Unit unit) {
    switch (unit) {
        case Unit::bytes:
            return "bytes";
        case Unit::bytesPerSecond:
            return "bytes/s";
        case Unit::megahertz:
            return "MHz";
        case Unit::celsius:
            return "celsius";
        case Unit::watts:
            return "watts";
        default:
            return "ratio";
    }
}

std::string figureText(Unit unit, double value, const SettingsStore& settings) {
    switch (unit) {
        case Unit::bytes:
            return bytesText(value);
        case Unit::bytesPerSecond:
            return rateText(value);
        case Unit::megahertz:
            return frequencyText(value, settings.freqUnit());
        case Unit::celsius:
            return temperatureText(value, settings.tempUnit());
        case Unit::watts:
            return wattsText(value);
        default:
            return percentText(value);
    }
}

std::span<const float> valuesOf(const HistoryBlock& block, std::size_t track, std::size_t part) {
    return std::span(block.values).subspan(block.shape.index(track, part, 0), block.shape.count);
}

/// Means of equally many slots each; NaN where none of them is known.
std::vector<double> places(std::span<const float> values, std::size_t count) {
    std::vector<double> means;
    for (std::size_t i = 0; i < count; ++i) {
        double sum = 0;
        std::size_t known = 0;
        for (std::size_t k = i * values.size() / count; k < (i + 1) * values.size() / count; ++k) {
            if (std::isnan(values[k])) continue;
            sum += static_cast<double>(values[k]);
            ++known;
        }
        means.push_back(known > 0 ? sum / static_cast<double>(known) : std::numeric_limits<double>::quiet_NaN());
    }
    return means;
}

struct Extent {
    double least = std::numeric_limits<double>::infinity();
    double greatest = -std::numeric_limits<double>::infinity();
    double sum = 0;
    std::size_t count = 0;
    std::optional<double> last;
};

Extent extentOf(const HistoryBlock& block, std::size_t track) {
    Extent extent;
    const std::size_t last = block.shape.parts - 1;
    for (std::size_t i = 0; i < block.shape.count; ++i) {
        const double mean = block.at(track, 0, i);
        if (std::isnan(mean)) continue;
        extent.least = std::fmin(extent.least, std::fmin(mean, block.at(track, last > 0 ? 1 : 0, i)));
        extent.greatest = std::fmax(extent.greatest, std::fmax(mean, block.at(track, last, i)));
        extent.sum += mean;
        ++extent.count;
        extent.last = mean;
    }
    return extent;
}

std::string utcText(std::uint64_t second) {
    const auto time = static_cast<std::time_t>(second);
    std::tm parts{};
    ::gmtime_r(&time, &parts);
    std::array<char, 32> text;
    return {text.data(), std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%SZ", &parts)};
}

void appendNumber(std::string& out, float value) {
    if (!std::isfinite(value)) return;
    std::array<char, 32> text;
    const auto end = std::to_chars(text.data(), text.data() + text.size(), value).ptr;
    out.append(text.data(), end);
}

std::uint64_t secondOf(const BlockShape& shape, std::size_t slot) {
    return (std::uint64_t{shape.first} + slot) * shape.period;
}

}  // namespace

std::optional<std::uint32_t> parseSpan(std::string_view text) {
    struct Suffix {
        char letter;
        std::uint32_t seconds;
    };
    for (const auto& [letter, seconds] : {Suffix{'s', 1}, Suffix{'m', 60}, Suffix{'h', 3600}, Suffix{'d', 86400}}) {
        if (!text.ends_with(letter)) continue;
        const auto number = parseUnsigned(text.substr(0, text.size() - 1));
        if (!number || *number == 0 || *number > fortnight / seconds) return std::nullopt;
        return static_cast<std::uint32_t>(*number) * seconds;
    }
    return std::nullopt;
}

std::string historyText(const HistoryChoice& choice, const SettingsStore& settings, std::size_t columns,
                        Glyphs glyphs) {
    const BlockShape& shape = choice.block.shape;
    const auto timeText = [&](std::size_t slot) {
        return localTimeText(WallTime(Seconds(static_cast<double>(secondOf(shape, slot)))),
                             shape.count * shape.period > 86400 ? "%Y-%m-%d %H:%M" : "%H:%M:%S");
    };
    std::string text =
        said("{} to {}, a value for each {}", timeText(0), timeText(shape.count - 1), spanText(Seconds(shape.period))) +
        "\n";
    for (const std::size_t track : choice.tracks) {
        const Extent extent = extentOf(choice.block, track);
        const Unit unit = unitOf(shape.names[track]);
        text += "\n" + printable(shape.names[track]);
        if (!extent.last) {
            text += ": " + said("nothing known") + "\n";
            continue;
        }
        const auto figure = [&](double value) { return figureText(unit, value, settings); };
        text += "  " +
                said("least {}, mean {}, greatest {}, last {}", figure(extent.least),
                     figure(extent.sum / static_cast<double>(extent.count)), figure(extent.greatest),
                     figure(*extent.last)) +
                "\n";
        const std::size_t count = std::min<std::size_t>(columns * valuesPerCell(glyphs), shape.count);
        std::vector<double> curve = places(valuesOf(choice.block, track, 0), count);
        const double top = unit == Unit::ratio ? 1 : std::max(extent.greatest, 1e-9);
        for (double& value : curve) value = std::clamp(value / top, 0.0, 1.0);  // NaN stays
        for (const std::string& row : areaGraph(curve, choice.tracks.size() == 1 ? 4 : 1, glyphs)) text += row + "\n";
    }
    return text;
}

std::string historyCsv(const HistoryChoice& choice) {
    const BlockShape& shape = choice.block.shape;
    std::string text = "time";
    for (const std::size_t track : choice.tracks) {
        for (std::size_t part = 0; part < shape.parts; ++part) {
            text += "," + shape.names[track] + std::string(partNames[part]);
        }
    }
    text += "\n";
    for (std::size_t slot = 0; slot < shape.count; ++slot) {
        text += utcText(secondOf(shape, slot));
        for (const std::size_t track : choice.tracks) {
            for (std::size_t part = 0; part < shape.parts; ++part) {
                text += ',';
                appendNumber(text, choice.block.at(track, part, slot));
            }
        }
        text += "\n";
    }
    return text;
}

std::string historyJson(const HistoryChoice& choice) {
    const BlockShape& shape = choice.block.shape;
    std::string text = "{\"period\":" + std::to_string(shape.period) +
                       ",\"first\":" + std::to_string(secondOf(shape, 0)) + ",\"metrics\":{";
    for (const std::size_t track : choice.tracks) {
        if (text.back() != '{') text += ',';
        appendJsonString(text, shape.names[track]);
        text += ":{\"unit\":\"" + std::string(unitName(unitOf(shape.names[track]))) + '"';
        constexpr std::array<std::string_view, 3> keys{"values", "least", "greatest"};
        for (std::size_t part = 0; part < shape.parts; ++part) {
            text += ",\"" + std::string(keys[part]) + "\":[";
            for (const float value : valuesOf(choice.block, track, part)) {
                if (text.back() != '[') text += ',';
                const std::size_t before = text.size();
                appendNumber(text, value);
                if (text.size() == before) text += "null";
            }
            text += ']';
        }
        text += '}';
    }
    return text + "}}\n";
}

}  // namespace zqm
