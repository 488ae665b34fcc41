#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace zqm {

/// "127.0.0.1:9932" or "[::1]:9932" taken apart; port 0 lets the system choose one.
struct ListenAddress {
    std::string host;
    std::uint16_t port = 0;
    bool isLoopback() const { return host.starts_with("127.") || host == "::1"; }
    std::string text() const;
};
std::optional<ListenAddress> parseListenAddress(std::string_view text);

/// What is wrong with an address to listen on, and what would be right; empty when it is one.
std::string listenAddressFault(std::string_view text);

/// The host that the client of a request believes to talk to, without its port; empty when it does not say.
std::string_view hostOf(std::string_view request);

/// Whether a host is a name which whoever owns it may bind to any address; "localhost" is none of these.
bool isForeignName(std::string_view host);

}  // namespace zqm
