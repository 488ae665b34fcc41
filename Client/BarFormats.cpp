#include "Client/BarFormats.h"

#include <algorithm>
#include <cmath>

#include "Client/Terminal.h"
#include "Support/Json.h"

namespace zqm {
namespace {

struct LevelLook {
    std::string_view rgb;
    std::string_view tmuxColour;
    std::string_view i3statusState;
};
constexpr std::array looks{LevelLook{"", "", "Idle"}, LevelLook{"#FFAF00", "yellow", "Warning"},
                           LevelLook{"#FF5F5F", "red", "Critical"}};

const LevelLook& lookOf(Level level) {
    return looks[static_cast<std::size_t>(level)];
}

/// How a reader of text takes it.
struct Markup {
    std::string (*escaped)(std::string_view);
    std::string (*coloured)(Level level, const std::string& text);
};

std::string replaced(std::string_view text,
                     std::initializer_list<std::pair<std::string_view, std::string_view>> pairs) {
    std::string result;
    while (!text.empty()) {
        const auto found =
            std::find_if(pairs.begin(), pairs.end(), [&](auto& pair) { return text.starts_with(pair.first); });
        result += found == pairs.end() ? text.substr(0, 1) : found->second;
        text.remove_prefix(found == pairs.end() ? 1 : found->first.size());
    }
    return result;
}

/// A terminal has one width for all characters.
const Markup plain{[](std::string_view text) {
                       return replaced(text, {{figureSpace, " "}});
                   },
                   [](Level, const std::string& text) { return text; }};

/// It reads "#[", "#(" and "#{".
const Markup tmux{[](std::string_view text) {
                      return replaced(text, {{figureSpace, " "}, {"#", "##"}});
                  },
                  [](Level level, const std::string& text) {
                      const std::string colour(lookOf(level).tmuxColour);
                      return colour.empty() ? text : "#[fg=" + colour + "]" + text + "#[default]";
                  }};

const Markup pango{[](std::string_view text) {
                       return replaced(text, {{"&", "&amp;"}, {"<", "&lt;"}, {">", "&gt;"}});
                   },
                   [](Level level, const std::string& text) {
                       const std::string colour(lookOf(level).rgb);
                       return colour.empty() ? text : "<span color=\"" + colour + "\">" + text + "</span>";
                   }};

/// It warns of characters that its fonts lack, as many lack the figure space.
const Markup polybar{[](std::string_view text) {
                         return replaced(text, {{figureSpace, " "}, {"%{", "% {"}});
                     },
                     [](Level level, const std::string& text) {
                         const std::string colour(lookOf(level).rgb);
                         return colour.empty() ? text : "%{F" + colour + "}" + text + "%{F-}";
                     }};

/// A bar begins the parameters of a line, and some readers take the text as Pango's markup and some do not.
const Markup xbar{[](std::string_view text) {
                      return replaced(text, {{"|", "¦"}, {"<", "‹"}, {">", "›"}, {"&", "＆"}});
                  },
                  [](Level, const std::string& text) { return text; }};

std::string blanks(double points) {
    constexpr double pointsOfBlank = 3;
    return std::string(static_cast<std::size_t>(std::lround(std::clamp(points / pointsOfBlank, 1.0, 40.0))), ' ');
}

/// "CPU " before its figure, or nothing.
std::string head(const BarContent& content, const BarSegment& segment) {
    const std::string label = content.label == BarLabel::none   ? ""
                              : content.label == BarLabel::icon ? std::string(segment.icon)
                                                                : segment.label;
    return label.empty() ? label : label + blanks(content.iconTextGap);
}

std::string joined(const BarContent& content, const Markup& markup) {
    std::string text;
    for (const BarSegment& segment : content.segments) {
        if (!text.empty()) text += blanks(content.segmentGap);
        text += markup.escaped(head(content, segment));
        text += markup.coloured(segment.figure.level, markup.escaped(segment.figure.text));
    }
    return text;
}

/// "CPU 7%  41 °C", or what the helper's silence is about.
std::string told(const BarSegment& segment) {
    const std::string text = segment.label + (segment.label.empty() ? "" : " ") + compact(segment.figure.text);
    return segment.figure.detail.empty() ? text : text + "  " + segment.figure.detail;
}

std::string toldLines(const BarContent& content, const Markup& markup) {
    std::string text;
    for (const BarSegment& segment : content.segments)
        text += (text.empty() ? "" : "\n") + markup.escaped(told(segment));
    return text;
}

Level worstOf(const BarContent& content) {
    Level worst = Level::normal;
    for (const BarSegment& segment : content.segments) worst = std::max(worst, segment.figure.level);
    return worst;
}

/// Of the first metric that has a whole.
std::optional<std::int64_t> percentage(const BarContent& content) {
    for (const BarSegment& segment : content.segments) {
        if (segment.figure.share) return std::lround(std::clamp(*segment.figure.share, 0.0, 1.0) * 100);
    }
    return std::nullopt;
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

std::string waybar(const BarContent& content) {
    const std::string_view state = content.timestamp ? rawValue(worstOf(content)) : "away";
    JsonWriter writer;
    writer.beginObject();
    member(writer, "text", joined(content, pango));
    member(writer, "alt", state);
    member(writer, "tooltip", toldLines(content, pango));
    writer.key("class");
    writer.beginArray();
    writer.value(state);
    for (const BarSegment& segment : content.segments) {
        if (segment.figure.level == Level::normal || !content.timestamp) continue;
        writer.value(std::string(segment.name) + '-' + std::string(rawValue(segment.figure.level)));
    }
    writer.endArray();
    if (const auto percent = percentage(content)) member(writer, "percentage", *percent);
    writer.endObject();
    return writer.take();
}

/// The widest that a text of this kind becomes.
std::string widest(std::string_view text) {
    std::string result = replaced(text, {{figureSpace, "0"}, {".", "0"}, {"k", "M"}, {"G", "M"}, {"T", "M"}});
    for (char& c : result) c = c >= '0' && c <= '9' ? '0' : c;
    return result;
}

std::string i3bar(const BarContent& content) {
    JsonWriter writer;
    writer.beginArray();
    for (const BarSegment& segment : content.segments) {
        const std::string before = head(content, segment);
        const std::string_view colour = lookOf(segment.figure.level).rgb;
        writer.beginObject();
        member(writer, "name", segment.name);
        member(writer, "full_text", before + segment.figure.text);
        member(writer, "short_text", compact(segment.figure.text));
        member(writer, "min_width", before + widest(segment.figure.text));
        if (!colour.empty()) member(writer, "color", colour);
        writer.key("separator");
        writer.value(false);
        member(writer, "separator_block_width", std::int64_t{std::lround(std::clamp(content.segmentGap, 1.0, 1000.0))});
        writer.endObject();
    }
    writer.endArray();
    return writer.take();
}

std::string i3statusRust(const BarContent& content) {
    std::string shortText;
    for (const BarSegment& segment : content.segments) {
        shortText += (shortText.empty() ? "" : " ") + pango.escaped(compact(segment.figure.text));
    }
    JsonWriter writer;
    writer.beginObject();
    member(writer, "text", joined(content, pango));
    member(writer, "short_text", shortText);
    member(writer, "state", lookOf(worstOf(content)).i3statusState);
    writer.endObject();
    return writer.take();
}

std::string xbarText(const BarContent& content) {
    const auto colour = [](Level level) {
        const std::string rgb(lookOf(level).rgb);
        return rgb.empty() ? rgb : " | color=" + rgb;
    };
    std::string text = joined(content, xbar) + colour(worstOf(content)) + "\n---";
    for (const BarSegment& segment : content.more) {
        text += '\n' + xbar.escaped(told(segment)) + colour(segment.figure.level);
    }
    return text;
}

/// A bar belongs to one figure.
std::string genmon(const BarContent& content) {
    const auto percent = content.segments.size() == 1 ? percentage(content) : std::nullopt;
    return "<txt>" + joined(content, pango) + "</txt><tool>" + toldLines(content, pango) + "</tool>" +
           (percent ? "<bar>" + std::to_string(*percent) + "</bar>" : "");
}

void addSegment(JsonWriter& writer, const BarSegment& segment) {
    const auto& values = segment.figure.values;
    writer.beginObject();
    member(writer, "metric", segment.name);
    member(writer, "label", segment.label);
    member(writer, "icon", segment.icon);
    member(writer, "text", compact(segment.figure.text));
    if (values.size() == 1) {
        member(writer, "value", values.front().second);
    } else {
        writer.key("value");
        writer.beginObject();
        for (const auto& [name, value] : values) member(writer, name, value);
        writer.endObject();
    }
    member(writer, "level", rawValue(segment.figure.level));
    member(writer, "detail", segment.figure.detail);
    writer.endObject();
}

std::string json(const BarContent& content) {
    JsonWriter writer;
    writer.beginObject();
    if (content.timestamp) {
        member(writer, "timestamp", content.timestamp->time_since_epoch().count());
        member(writer, "iconTextGap", content.iconTextGap);
        member(writer, "segmentGap", content.segmentGap);
    } else {
        for (const BarSegment& segment : content.segments) member(writer, "error", segment.figure.detail);
        member(writer, "status", static_cast<std::int64_t>(content.status));
    }
    writer.key("segments");
    writer.beginArray();
    if (content.timestamp) {
        for (const BarSegment& segment : content.segments) addSegment(writer, segment);
    }
    writer.endArray();
    writer.endObject();
    return writer.take();
}

}  // namespace

std::string barText(const BarContent& content, BarFormat format) {
    switch (format) {
        case BarFormat::waybar:
            return waybar(content);
        case BarFormat::i3bar:
            return i3bar(content);
        case BarFormat::json:
            return json(content);
        case BarFormat::tmux:
            return joined(content, tmux);
        case BarFormat::polybar:
            return joined(content, polybar);
        case BarFormat::xbar:
            return xbarText(content);
        case BarFormat::i3statusRust:
            return i3statusRust(content);
        case BarFormat::genmon:
            return genmon(content);
        case BarFormat::plain:
            break;
    }
    return joined(content, plain);
}

}  // namespace zqm
