#include "Client/Terminal.h"

#include <langinfo.h>
#include <sys/ioctl.h>
#include <unistd.h>
#include <wchar.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <utility>

#include "Support/Text.h"

namespace zqm {
namespace {

/// The character at the start of well-formed UTF-8, removed from `rest`.
char32_t takeCharacter(std::string_view& rest, std::string_view& bytes) {
    const auto lead = static_cast<unsigned char>(rest.front());
    const std::size_t size = lead < 0x80 ? 1 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
    char32_t character = size == 1 ? lead : lead & (0xFFu >> (size + 1));
    for (std::size_t i = 1; i < size; ++i) character = character << 6 | (static_cast<unsigned char>(rest[i]) & 0x3Fu);
    bytes = rest.substr(0, size);
    rest.remove_prefix(size);
    return character;
}

/// Of the C library's table for the locale; what it does not know takes one column.
std::size_t widthOf(char32_t character) {
    const int columns = ::wcwidth(static_cast<wchar_t>(character));
    return columns < 0 ? 1 : static_cast<std::size_t>(columns);
}

std::string cut(std::string_view text, std::size_t columns) {
    if (columnsOf(text) <= columns) return std::string(text);
    return columns == 0 ? std::string() : std::string(beginningOf(text, columns - 1)) + "…";
}

std::size_t visibleColumns(std::string_view text) {
    std::size_t columns = 0;
    while (!text.empty()) {
        columns += columnsOf(takeUntil(text, '\033'));
        if (text.starts_with('[')) text.remove_prefix(std::min(text.find('m'), text.size() - 1) + 1);
    }
    return columns;
}

}  // namespace

std::string_view beginningOf(std::string_view text, std::size_t columns) {
    std::string_view rest = text;
    std::string_view bytes;
    while (!rest.empty()) {
        const std::string_view before = rest;
        const std::size_t width = widthOf(takeCharacter(rest, bytes));
        if (width > columns) return text.substr(0, text.size() - before.size());
        columns -= width;
    }
    return text;
}

bool printOut(std::string_view text) {
    return std::fwrite(text.data(), 1, text.size(), stdout) == text.size() && std::fflush(stdout) == 0;
}

std::optional<std::size_t> terminalColumns() {
    winsize size{};
    if (::ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_col == 0) return std::nullopt;
    return size.ws_col;
}

std::string broken(std::string_view text, std::size_t columns, std::size_t indent) {
    constexpr std::string_view gap = "  ";
    std::string result;
    while (!text.empty()) {
        std::string_view line = takeUntil(text, '\n');
        std::string row;
        while (!line.empty()) {
            const std::size_t begin = std::min(line.find_first_not_of(' '), line.size());
            const std::size_t end = std::min(line.find(gap, begin), line.size());
            const std::string_view piece = line.substr(0, end);
            line.remove_prefix(end);
            const std::string_view word = piece.substr(std::min(begin, piece.size()));
            if (visibleColumns(row) > indent && visibleColumns(row) + visibleColumns(piece) > columns) {
                result += row + '\n';
                row = std::string(indent, ' ') + std::string(word);
            } else {
                row += piece;
            }
        }
        result += row + '\n';
    }
    return result;
}

std::string asciiText(std::string_view text) {
    static constexpr std::array<std::pair<std::string_view, char>, 21> marks{
        {{"─", '-'}, {"│", '|'}, {"┌", '+'}, {"┐", '+'}, {"└", '+'}, {"┘", '+'}, {"↓", 'v'},
         {"↑", '^'}, {"←", '<'}, {"→", '>'}, {"…", '~'}, {"·", '-'}, {"°", ' '}, {"▁", '_'},
         {"▂", '.'}, {"▃", ':'}, {"▄", '-'}, {"▅", '='}, {"▆", '+'}, {"▇", '*'}, {"█", '#'}}};
    std::string result;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (static_cast<unsigned char>(text[i]) < 0x80) {
            result += text[i];
            continue;
        }
        if ((static_cast<unsigned char>(text[i]) & 0xC0u) == 0x80) continue;  // of the character before
        char mark = '?';
        for (const auto& [character, ascii] : marks) {
            if (text.substr(i).starts_with(character)) mark = ascii;
        }
        result += mark;
    }
    return result;
}

std::string shownText(std::string text) {
    return isUtf8Shown() ? std::move(text) : asciiText(text);
}

bool isUtf8Shown() {
    return std::string_view(::nl_langinfo(CODESET)) == "UTF-8";
}

bool wantsColour() {
    const char* refusal = std::getenv("NO_COLOR");
    const char* terminal = std::getenv("TERM");
    return (!refusal || *refusal == '\0') && ::isatty(STDOUT_FILENO) == 1 && terminal &&
           std::string_view(terminal) != "dumb";
}

std::string printable(std::string_view text) {
    const std::string repaired = repairUtf8(text);
    std::string_view rest = repaired;
    std::string_view bytes;
    std::string result;
    while (!rest.empty()) {
        const char32_t character = takeCharacter(rest, bytes);
        const bool isControl = character < 0x20 || (character >= 0x7F && character < 0xA0);
        const bool reorders =
            (character >= 0x202A && character <= 0x202E) || (character >= 0x2066 && character <= 0x2069);
        result += isControl || reorders ? std::string_view("?") : bytes;
    }
    return result;
}

std::size_t columnsOf(std::string_view text) {
    std::string_view bytes;
    std::size_t columns = 0;
    while (!text.empty()) columns += widthOf(takeCharacter(text, bytes));
    return columns;
}

std::string fitted(std::string_view text, std::size_t columns) {
    std::string result = cut(text, columns);
    result.append(columns - columnsOf(result), ' ');
    return result;
}

std::string fittedRight(std::string_view text, std::size_t columns) {
    const std::string result = cut(text, columns);
    return std::string(columns - columnsOf(result), ' ') + result;
}

std::string Style::wrapped(std::string_view code, std::string_view text) const {
    if (!isColoured_) return std::string(text);
    std::string result = "\033[";
    result += code;
    result += 'm';
    result += text;
    return result + "\033[0m";
}

}  // namespace zqm
