#include "Platform/Linux/Kernel/Assignments.h"

#include "Support/Text.h"

namespace zqm {
namespace {

/// A value as the shell understands it: without the quotes around it and the backslashes that escape.
std::string unquote(std::string_view value) {
    const bool isQuoted = value.size() >= 2 && (value[0] == '"' || value[0] == '\'') && value.back() == value[0];
    if (!isQuoted) return std::string(value);
    const bool escapes = value[0] == '"';
    value = value.substr(1, value.size() - 2);
    std::string text;
    for (std::size_t i = 0; i < value.size(); ++i) {
        if (escapes && value[i] == '\\' && i + 1 < value.size()) ++i;
        text += value[i];
    }
    return text;
}

}  // namespace

std::optional<std::string> assigned(std::string_view text, std::string_view key, std::string_view section) {
    std::optional<std::string> value;
    bool isInSection = section.empty();
    while (!text.empty()) {
        std::string_view line = trimWhitespace(takeUntil(text, '\n'));
        if (line.starts_with('[') && !section.empty()) isInSection = line == section;
        if (line.starts_with("export ")) line = trimWhitespace(line.substr(7));
        if (!isInSection || !line.starts_with(key) || !line.substr(key.size()).starts_with('=')) continue;
        value = unquote(trimWhitespace(line.substr(key.size() + 1)));
    }
    return value;
}

}  // namespace zqm
