#include "Client/BarWriter.h"

#include <algorithm>
#include <cmath>

#include "Client/Terminal.h"
#include "Client/Units.h"
#include "Support/Json.h"

namespace zqm {
namespace {

enum class Level { normal, warning, critical };

struct LevelLook {
    std::string_view name;
    std::string_view rgb;
    std::string_view tmuxColour;
};
constexpr std::array looks{LevelLook{"normal", "", ""}, LevelLook{"warning", "#FFAF00", "yellow"},
                           LevelLook{"critical", "#FF5F5F", "red"}};

Level levelOf(const BarFigure& figure) {
    const double fullness = figure.fullness.value_or(0);
    return fullness >= criticalFrom ? Level::critical : fullness >= warningFrom ? Level::warning : Level::normal;
}

const LevelLook& lookOf(Level level) {
    return looks[static_cast<std::size_t>(level)];
}

std::string unchanged(std::string_view text) {
    return std::string(text);
}

/// Pango reads the text as markup.
std::string pangoEscaped(std::string_view text) {
    std::string escaped;
    for (const char c : text) {
        if (c == '&') {
            escaped += "&amp;";
        } else if (c == '<') {
            escaped += "&lt;";
        } else if (c == '>') {
            escaped += "&gt;";
        } else {
            escaped += c;
        }
    }
    return escaped;
}

/// tmux reads "#[", "#(" and "#{".
std::string tmuxEscaped(std::string_view text) {
    std::string escaped;
    for (const char c : text) escaped += c == '#' ? std::string("##") : std::string(1, c);
    return escaped;
}

std::string tmuxColoured(std::string_view colour, const std::string& text) {
    return colour.empty() ? text : "#[fg=" + std::string(colour) + "]" + text + "#[default]";
}

void member(JsonWriter& writer, std::string_view name, std::string_view text) {
    writer.key(name);
    writer.value(text);
}

void member(JsonWriter& writer, std::string_view name, double number) {
    writer.key(name);
    writer.value(std::isfinite(number) ? number : 0.0);
}

void member(JsonWriter& writer, std::string_view name, std::int64_t number) {
    writer.key(name);
    writer.value(number);
}

void addI3Block(JsonWriter& writer, std::string_view name, std::string_view text, std::string_view colour) {
    writer.beginObject();
    member(writer, "name", name);
    member(writer, "full_text", text);
    if (!colour.empty()) member(writer, "color", colour);
}

void addSegment(JsonWriter& writer, const BarSegment& segment) {
    const auto& values = segment.figure.values;
    writer.beginObject();
    member(writer, "metric", segment.name);
    member(writer, "label", segment.label);
    member(writer, "text", segment.figure.text);
    if (values.size() == 1) {
        member(writer, "value", values.front().second);
    } else {
        writer.key("value");
        writer.beginObject();
        for (const auto& [name, value] : values) member(writer, name, value);
        writer.endObject();
    }
    member(writer, "level", lookOf(levelOf(segment.figure)).name);
    member(writer, "detail", segment.figure.detail);
    writer.endObject();
}

std::string waybarJson(std::string_view text, std::string_view tooltip, std::string_view kind, double fraction) {
    JsonWriter writer;
    writer.beginObject();
    member(writer, "text", text);
    member(writer, "tooltip", tooltip);
    member(writer, "class", kind);
    member(writer, "percentage", std::int64_t{std::lround(std::clamp(fraction, 0.0, 1.0) * 100)});
    writer.endObject();
    return writer.take();
}

std::string_view shortText(const HelperError& error, const SettingsStore& settings) {
    if (error.isStarting) return inLanguage(settings, "监视助手尚无数据", "no sample yet");
    switch (error.status) {
        case ExitStatus::helperSilent:
            return inLanguage(settings, "监视助手无响应", "helper silent");
        case ExitStatus::tokenRefused:
            return inLanguage(settings, "监视助手拒绝访问", "helper refuses");
        case ExitStatus::otherVersion:
            return inLanguage(settings, "监视助手版本不符", "helper of another version");
        default:
            return inLanguage(settings, "监视助手未运行", "helper away");
    }
}

}  // namespace

std::string BarWriter::line(const SystemSnapshot& snapshot, WallTime now) {
    const auto segments = barSegments(snapshot, settings_, now);
    switch (format_) {
        case BarFormat::waybar:
            return framed(waybar(snapshot, segments));
        case BarFormat::i3bar:
            return framed(i3bar(segments));
        case BarFormat::json:
            return framed(json(snapshot, segments));
        case BarFormat::tmux:
            return framed(joined(segments, tmuxEscaped));
        case BarFormat::plain:
            break;
    }
    return framed(joined(segments, unchanged));
}

std::string BarWriter::line(const HelperError& error) {
    const std::string_view text = shortText(error, settings_);
    const std::string message = printable(error.message);
    JsonWriter writer;
    switch (format_) {
        case BarFormat::waybar:
            return framed(waybarJson(pangoEscaped(text), pangoEscaped(message), "away", 0));
        case BarFormat::i3bar:
            writer.beginArray();
            addI3Block(writer, "helper", text, lookOf(Level::critical).rgb);
            writer.endObject();
            writer.endArray();
            return framed(writer.take());
        case BarFormat::json:
            writer.beginObject();
            member(writer, "error", message);
            member(writer, "status", static_cast<std::int64_t>(error.status));
            writer.key("segments");
            writer.beginArray();
            writer.endArray();
            writer.endObject();
            return framed(writer.take());
        case BarFormat::tmux:
            return framed(tmuxColoured(lookOf(Level::critical).tmuxColour, tmuxEscaped(text)));
        case BarFormat::plain:
            break;
    }
    return framed(std::string(text));
}

std::string BarWriter::end() const {
    return format_ == BarFormat::i3bar ? "]\n" : "";
}

/// i3bar reads a header and then one array that need not end.
std::string BarWriter::framed(std::string line) {
    const bool isFirst = std::exchange(isFirst_, false);
    if (format_ == BarFormat::i3bar) line.insert(0, isFirst ? "{\"version\":1}\n[\n" : ",");
    return line + '\n';
}

std::string BarWriter::blanks(double points) const {
    constexpr double pointsOfBlank = 3;
    return std::string(static_cast<std::size_t>(std::lround(std::clamp(points / pointsOfBlank, 1.0, 40.0))), ' ');
}

std::string BarWriter::joined(const std::vector<BarSegment>& segments, std::string (*escape)(std::string_view)) const {
    std::string text;
    for (const BarSegment& segment : segments) {
        if (!text.empty()) text += blanks(settings_.segmentGap());
        text += escape(segment.label) + blanks(settings_.iconTextGap());
        const std::string figure = escape(segment.figure.text);
        text += format_ == BarFormat::tmux ? tmuxColoured(lookOf(levelOf(segment.figure)).tmuxColour, figure) : figure;
    }
    return text;
}

std::string BarWriter::waybar(const SystemSnapshot& snapshot, const std::vector<BarSegment>& segments) const {
    std::string tooltip;
    Level worst = Level::normal;
    for (const BarSegment& segment : segments) {
        worst = std::max(worst, levelOf(segment.figure));
        if (!tooltip.empty()) tooltip += '\n';
        tooltip += std::string(segment.label) + ' ' + segment.figure.text;
        if (!segment.figure.detail.empty()) tooltip += "  " + segment.figure.detail;
    }
    return waybarJson(joined(segments, pangoEscaped), pangoEscaped(tooltip), lookOf(worst).name, snapshot.load.value);
}

std::string BarWriter::i3bar(const std::vector<BarSegment>& segments) const {
    JsonWriter writer;
    writer.beginArray();
    for (const BarSegment& segment : segments) {
        const std::string text = std::string(segment.label) + blanks(settings_.iconTextGap()) + segment.figure.text;
        addI3Block(writer, segment.name, text, lookOf(levelOf(segment.figure)).rgb);
        writer.key("separator");
        writer.value(false);
        member(writer, "separator_block_width",
               std::int64_t{std::lround(std::clamp(settings_.segmentGap(), 1.0, 1000.0))});
        writer.endObject();
    }
    writer.endArray();
    return writer.take();
}

std::string BarWriter::json(const SystemSnapshot& snapshot, const std::vector<BarSegment>& segments) const {
    JsonWriter writer;
    writer.beginObject();
    member(writer, "timestamp", snapshot.timestamp.time_since_epoch().count());
    member(writer, "iconTextGap", settings_.iconTextGap());
    member(writer, "segmentGap", settings_.segmentGap());
    writer.key("segments");
    writer.beginArray();
    for (const BarSegment& segment : segments) addSegment(writer, segment);
    writer.endArray();
    writer.endObject();
    return writer.take();
}

}  // namespace zqm
