#pragma once

#include <memory>
#include <optional>
#include <string_view>

#include "Client/Watch/Graph.h"
#include "Client/Watch/Layout.h"

struct screen;  // of curses

namespace zqm {

/// What a piece of the screen means; the screen chooses the colour that the terminal has for it.
enum class Role {
    plain,
    dim,
    title,
    load,
    performance,  // processors by kind
    efficiency,
    otherKind,
    memory,
    graphics,
    incoming,
    outgoing,
    heat,
    energy,
    warning,
    critical,
    banner,    // across the whole line
    selected,  // the chosen line
};

enum class Key { next, previous, up, down, enter, escape, redraw, character, other };
struct KeyPress {
    Key key = Key::other;
    char character = 0;  // of ASCII
};

/// The whole terminal, for as long as this lives; afterwards the terminal is as it was. At most one at a time.
///
/// Signals are the owner's: it must handle SIGWINCH, SIGTSTP and whatever ends the process before it opens a screen.
class Screen {
public:
    /// nullptr when the terminal is of a type that has no cursor to move.
    static std::unique_ptr<Screen> open(bool isColoured);
    ~Screen();
    Screen(const Screen&) = delete;
    Screen& operator=(const Screen&) = delete;

    Size size() const;
    Glyphs glyphs() const { return glyphs_; }

    /// Begins a new picture.
    void clear();
    /// Puts text, which is cut at the right edge. In a locale that is not UTF-8 it is written in ASCII.
    void put(std::size_t row, std::size_t column, std::string_view text, Role role = Role::plain);
    /// Sends what has changed to the terminal.
    void show();

    /// The next key that was pressed; nullopt when there is none.
    std::optional<KeyPress> key();

    /// Takes over the terminal's present size.
    void resize();
    /// Gives the terminal back for a while, and takes it again, whoever used it in between.
    void suspend();
    void resume();

private:
    Screen(screen* terminal, bool isColoured, bool isUtf8, Glyphs glyphs);

    screen* terminal_;
    bool isUtf8_;
    Glyphs glyphs_;
    bool isColoured_;
};

}  // namespace zqm
