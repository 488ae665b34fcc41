#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "Client/Levels.h"
#include "Client/Units.h"

namespace zqm {

/// Writes the whole text to standard output and flushes it; false when that failed (a full disk, a closed pipe).
bool printOut(std::string_view text);

/// Whether standard output is a terminal that shows colours and the user has not asked for none (NO_COLOR).
bool wantsColour();

/// Whether the locale's characters are those of UTF-8.
bool isUtf8Shown();

/// What is written where only ASCII can be: one character for each, as wide as most of them are.
std::string asciiText(std::string_view text);
/// The text as the terminal's locale can show it.
std::string shownText(std::string text);

/// Text from outside as a terminal may show it: without control characters, which could move the cursor or worse, and
/// as well-formed UTF-8.
std::string printable(std::string_view text);

/// The number of terminal columns that the text takes.
std::size_t columnsOf(std::string_view text);

/// The longest beginning of `text` that takes at most `columns`.
std::string_view beginningOf(std::string_view text, std::size_t columns);

/// `text` filled with blanks to `columns`; longer ones are cut and end in "…".
std::string fitted(std::string_view text, std::size_t columns);
std::string fittedRight(std::string_view text, std::size_t columns);

/// The width of the terminal that standard output is; nullopt when it is none, or does not say.
std::optional<std::size_t> terminalColumns();

/// The text with every line that is wider than `columns` broken where two blanks stand, the rest of it behind `indent`
/// blanks. Codes of colours take no room.
std::string broken(std::string_view text, std::size_t columns, std::size_t indent);

/// Colours, or none of them.
class Style {
public:
    explicit Style(bool isColoured) : isColoured_(isColoured) {}
    std::string label(std::string_view text) const { return wrapped("1;36", text); }
    std::string dim(std::string_view text) const { return wrapped("2", text); }
    /// Yellow or red where it wants attention.
    std::string level(Level level, std::string_view text) const {
        return level == Level::normal ? std::string(text) : wrapped(level == Level::critical ? "31" : "33", text);
    }

private:
    std::string wrapped(std::string_view code, std::string_view text) const;
    bool isColoured_;
};

}  // namespace zqm
