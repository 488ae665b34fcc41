#include "Client/Watch/Screen.h"

#include <sys/ioctl.h>
#include <unistd.h>

#define NCURSES_NOMACROS 1
#include <curses.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <utility>

#include "Client/Terminal.h"

namespace zqm {
namespace {

struct Look {
    short colour256;  // calm ones that can be read on dark and light grounds
    short colour8;    // -1: the terminal's own
    attr_t attributes;
};
constexpr std::array<Look, 17> looks{{
    {-1, -1, A_NORMAL},                    // plain
    {244, -1, A_NORMAL},                   // dim
    {-1, -1, A_BOLD},                      // title
    {74, COLOR_CYAN, A_NORMAL},            // load
    {68, COLOR_CYAN, A_NORMAL},            // performance
    {72, COLOR_GREEN, A_NORMAL},           // efficiency
    {74, COLOR_CYAN, A_NORMAL},            // otherKind
    {140, COLOR_MAGENTA, A_NORMAL},        // memory
    {73, COLOR_GREEN, A_NORMAL},           // graphics
    {68, COLOR_CYAN, A_NORMAL},            // incoming
    {137, COLOR_YELLOW, A_NORMAL},         // outgoing
    {173, COLOR_RED, A_NORMAL},            // heat
    {143, COLOR_YELLOW, A_NORMAL},         // energy
    {178, COLOR_YELLOW, A_BOLD},           // warning
    {167, COLOR_RED, A_BOLD},              // critical
    {167, COLOR_RED, A_REVERSE | A_BOLD},  // banner
    {-1, -1, A_REVERSE},                   // selected
}};
static_assert(looks.size() == static_cast<std::size_t>(Role::selected) + 1);

}  // namespace

std::unique_ptr<Screen> Screen::open(bool isColoured) {
    const char* type = std::getenv("TERM");
    if (!type) return nullptr;
    ::setenv("ESCDELAY", "25", 0);  // ms after Escape in which a key's code goes on; every ncurses reads it
    SCREEN* terminal = ::newterm(nullptr, stdout, stdin);
    if (!terminal) return nullptr;
    const char* move = ::tigetstr("cup");
    if (!move || move == reinterpret_cast<char*>(-1)) {
        ::endwin();
        ::delscreen(terminal);
        return nullptr;
    }
    const bool isUtf8 = isUtf8Shown();
    const bool hasBraille = isUtf8 && std::string_view(type) != "linux";  // the console's fonts have none
    return std::unique_ptr<Screen>(
        new Screen(terminal, isColoured, isUtf8, hasBraille ? Glyphs::braille : Glyphs::ascii));
}

Screen::Screen(screen* terminal, bool isColoured, bool isUtf8, Glyphs glyphs)
    : terminal_(terminal),
      isUtf8_(isUtf8),
      glyphs_(glyphs),
      isColoured_(isColoured && ::has_colors() && ::start_color() == OK) {
    if (isColoured_) {
        const short ground = ::use_default_colors() == OK ? -1 : COLOR_BLACK;
        for (std::size_t i = 0; i < looks.size(); ++i) {
            short colour = COLORS >= 256 ? looks[i].colour256 : looks[i].colour8;
            if (colour < 0 && ground >= 0) colour = COLOR_WHITE;
            ::init_pair(static_cast<short>(i + 1), colour, ground);
        }
    }
    ::cbreak();
    ::noecho();
    ::nonl();
    ::curs_set(0);
    ::keypad(stdscr, TRUE);
    ::nodelay(stdscr, TRUE);
}

Screen::~Screen() {
    suspend();
    ::delscreen(terminal_);
}

Size Screen::size() const {
    return {static_cast<std::size_t>(::getmaxx(stdscr)), static_cast<std::size_t>(::getmaxy(stdscr))};
}

void Screen::clear() {
    ::werase(stdscr);
}

void Screen::put(std::size_t row, std::size_t column, std::string_view text, Role role) {
    const Size room = size();
    if (row >= room.rows || column >= room.columns) return;
    const Look& look = looks[static_cast<std::size_t>(role)];
    attr_t attributes = look.attributes;
    const bool isOwnColour = look.colour256 < 0;
    if (role == Role::dim && (!isColoured_ || COLORS < 256)) attributes |= A_DIM;
    const short pair = isColoured_ && !isOwnColour ? static_cast<short>(static_cast<int>(role) + 1) : short{0};
    ::wattr_set(stdscr, attributes, pair, nullptr);
    // Curses would go on in the next line with what is too wide.
    std::string shown =
        columnsOf(text) > room.columns - column ? fitted(text, room.columns - column) : std::string(text);
    if (!isUtf8_) shown = asciiText(shown);
    ::wmove(stdscr, static_cast<int>(row), static_cast<int>(column));
    ::waddnstr(stdscr, shown.data(), static_cast<int>(shown.size()));
}

void Screen::show() {
    ::wrefresh(stdscr);
}

std::optional<KeyPress> Screen::key() {
    constexpr int escape = 27;
    const int code = ::wgetch(stdscr);
    if (code == ERR) return std::nullopt;
    switch (code) {
        case KEY_RIGHT:
        case '\t':
            return KeyPress{Key::next};
        case KEY_LEFT:
        case KEY_BTAB:
            return KeyPress{Key::previous};
        case KEY_UP:
            return KeyPress{Key::up};
        case KEY_DOWN:
            return KeyPress{Key::down};
        case KEY_ENTER:
        case '\r':
        case '\n':
            return KeyPress{Key::enter};
        case escape:
            return KeyPress{Key::escape};
        case 'L' - '@':
            return KeyPress{Key::redraw};
        default:
            return code >= ' ' && code <= '~' ? KeyPress{Key::character, static_cast<char>(code)} : KeyPress{};
    }
}

void Screen::resize() {
    winsize size{};
    if (::ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_row == 0 || size.ws_col == 0) return;
    ::resizeterm(size.ws_row, size.ws_col);
    ::clearok(curscr, TRUE);
}

void Screen::suspend() {
    if (!::tigetstr("smcup")) {  // no alternate screen to leave: what is written next shall not stand in ours
        ::werase(stdscr);
        ::wrefresh(stdscr);
    }
    ::endwin();
}

void Screen::resume() {
    ::reset_prog_mode();
    ::curs_set(0);
    resize();
    ::clearok(curscr, TRUE);
}

}  // namespace zqm
