#include "Client/MetricFamilies.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <utility>

#include "Client/Terminal.h"
#include "Support/Decimal.h"

namespace zqm {
namespace {

/// A label's value as the formats want it. A line feed has an escape there; other control characters have none and
/// could end a parser or move a cursor.
std::string escaped(std::string_view text) {
    std::string result;
    for (;;) {
        const std::size_t end = text.find('\n');
        for (const char c : printable(text.substr(0, end))) {
            if (c == '\\' || c == '"') result += '\\';
            result += c;
        }
        if (end == std::string_view::npos) return result;
        result += "\\n";
        text.remove_prefix(end + 1);
    }
}

void appendNumber(std::string& out, double value) {
    appendDecimal(out, value);
    if (out.ends_with(".0")) out.resize(out.size() - 2);
}

std::string seriesOf(std::string_view family, std::initializer_list<Label> labels) {
    std::string series(family);
    char separator = '{';
    for (const Label& label : labels) {
        if (label.name.empty() || label.value.empty()) continue;
        series += std::exchange(separator, ',');
        series += label.name;
        series += "=\"";
        series += escaped(label.value);
        series += '"';
    }
    if (separator == ',') series += '}';
    return series;
}

/// What a form says of a family beside its help.
struct Metadata {
    std::string_view name;
    std::string_view type;
    std::string_view unit = {};
};

Metadata metadataOf(std::string_view family, MetricsFormat format) {
    static constexpr std::string_view total = "_total";
    static constexpr std::string_view info = "_info";
    const bool isCounter = family.ends_with(total);
    const std::string_view type = isCounter ? "counter" : "gauge";
    if (format == MetricsFormat::text) return {family, type};
    if (family.ends_with(info)) return {family.substr(0, family.size() - info.size()), "info"};
    const std::string_view name = isCounter ? family.substr(0, family.size() - total.size()) : family;
    for (const std::string_view unit :
         {"bytes_per_second", "bytes", "seconds", "ratio", "hertz", "celsius", "joules", "watts"}) {
        if (name.ends_with(unit)) return {name, type, unit};
    }
    return {name, type};
}

}  // namespace

std::string_view contentType(MetricsFormat format) {
    return format == MetricsFormat::text ? "text/plain; version=0.0.4; charset=utf-8"
                                         : "application/openmetrics-text; version=1.0.0; charset=utf-8";
}

void MetricFamilies::add(const MetricOrigin& origin, std::initializer_list<Label> labels, double value) {
    if (!std::isfinite(value)) return;
    Family& family = familyOf(origin);
    const auto [series, isNew] = family.series.insert(seriesOf(origin.family, labels));
    if (!isNew) return;
    family.samples += *series;
    family.samples += ' ';
    appendNumber(family.samples, value);
    family.samples += '\n';
}

std::string MetricFamilies::text(MetricsFormat format) const {
    std::string text;
    text.reserve(16384);
    const auto append = [&](std::initializer_list<std::string_view> parts) {
        for (const std::string_view part : parts) text += part;
    };
    for (const Family& family : families_) {
        const Metadata metadata = metadataOf(family.name, format);
        append({"# HELP ", metadata.name, " ", family.help, "\n# TYPE ", metadata.name, " ", metadata.type, "\n"});
        if (!metadata.unit.empty()) append({"# UNIT ", metadata.name, " ", metadata.unit, "\n"});
        text += family.samples;
    }
    if (format == MetricsFormat::openMetrics) text += "# EOF\n";
    return text;
}

MetricFamilies::Family& MetricFamilies::familyOf(const MetricOrigin& origin) {
    auto known = std::find_if(families_.rbegin(), families_.rend(),
                              [&](const Family& family) { return family.name == origin.family; });
    if (known == families_.rend()) {
        families_.push_back({std::string(origin.family), std::string(origin.note), {}, {}, {}});
        known = families_.rbegin();
    }
    if (known->lastSource != origin.source) {
        known->help += !known->lastSource.empty() ? ", " : known->help.empty() ? "From " : " From ";
        known->help += origin.source;
        known->lastSource = origin.source;
    }
    return *known;
}

}  // namespace zqm
