#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "Platform/Process/Clock.h"

/// What a program of the user's needs to ask the user's helper: one exchange on loopback, the token's file and where
/// the helper's program lies. Free functions, since nothing branches on them but the command itself. Any thread; never
/// throws but for memory.
namespace zqm {

struct LocalReply {
    enum class Outcome {
        complete,  // the peer ended its answer
        absent,    // nobody listens
        foreign,   // another user's program listens; nothing was sent
        silent,    // no end of the answer in time
        broken,    // the connection failed
        tooLarge,  // the answer is larger than asked for
    };
    Outcome outcome = Outcome::absent;
    std::string bytes;
};

/// Sends `request` to 127.0.0.1:`port` and reads until the peer ends, at most `mostBytes` and `time` in all. Where the
/// kernel tells whose socket listens there, nothing is sent unless it is this user's.
LocalReply askLoopback(std::uint16_t port, std::string_view request, Seconds time, std::size_t mostBytes);

/// A small file that belongs to this user, also behind a symbolic link: its text, or nothing and why for a person.
struct OwnFile {
    std::optional<std::string> text;
    std::string problem;
    bool isMissing = false;
};
OwnFile readOwnFile(const std::string& file);

/// The installed program `name`: that beside the program which this process runs, else the first on PATH that may be
/// run; nullopt when there is none.
std::optional<std::string> findProgram(std::string_view name);

/// Whether this process runs as root for another user, in root's home.
bool isUnderSudo();

}  // namespace zqm
