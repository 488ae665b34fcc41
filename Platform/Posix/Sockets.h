#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "Platform/Posix/Descriptor.h"

namespace zqm {

/// A listening socket on 127.0.0.1; empty with `errno` set when there is none. It and what it accepts do not block and
/// are not inherited by child processes. A port whose old connections linger is taken over at once, one on which
/// somebody listens is not.
Descriptor listenOnLoopback(std::uint16_t port);

/// The same on a numeric IPv4 or IPv6 address.
Descriptor listenOn(const std::string& address, std::uint16_t port);

/// The next waiting connection; empty with `errno` set when there is none.
Descriptor acceptConnection(int listening);

/// The port that a socket is bound to; 0 when it has none.
std::uint16_t boundPort(int socket);

/// How many connections may be open so that the rest of the process keeps descriptors for its files; at least 1.
std::size_t connectionLimit();

/// An address in dotted form, in host byte order; nullopt when `text` is none.
std::optional<std::uint32_t> parseIPv4(std::string_view text);

}  // namespace zqm
