#include "Client/ListenAddress.h"

#include "Support/HttpText.h"
#include "Support/Text.h"

namespace zqm {

std::optional<ListenAddress> parseListenAddress(std::string_view text) {
    const std::size_t colon = text.rfind(':');
    if (colon == std::string_view::npos) return std::nullopt;
    const auto port = parseUnsigned(text.substr(colon + 1));
    std::string_view host = text.substr(0, colon);
    const bool isBracketed = host.starts_with('[') && host.ends_with(']');
    if (isBracketed) host = host.substr(1, host.size() - 2);
    const bool hasColon = host.find(':') != std::string_view::npos;
    if (host.empty() || hasColon != isBracketed || !port || *port > 65535) return std::nullopt;
    return ListenAddress{std::string(host), static_cast<std::uint16_t>(*port)};
}

std::string ListenAddress::text() const {
    const bool isIPv6 = host.find(':') != std::string::npos;
    return (isIPv6 ? "[" + host + "]:" : host + ":") + std::to_string(port);
}

std::string listenAddressFault(std::string_view text) {
    const std::string given(text);
    const auto address = parseListenAddress(text);
    if (!address) return given + " is not ADDRESS:PORT or [ADDRESS]:PORT, such as 127.0.0.1:9932";
    const bool isIPv6 = address->host.find(':') != std::string::npos;
    if (isIPv6 || !(isForeignName(address->host) || address->host == "localhost")) return {};
    const std::string port = ":" + std::to_string(address->port);
    return address->host +
           " is a name, and a name may lead to other machines: give the address to listen on, 127.0.0.1" + port +
           " for this machine alone or one that hostname -I prints for the network";
}

std::string_view hostOf(std::string_view request) {
    const std::string_view host = headerOf(request, "host");
    return host.substr(0, host.find(':', host.starts_with('[') ? host.find(']') : 0));
}

bool isForeignName(std::string_view host) {
    if (host == "localhost" || host.starts_with('[')) return false;
    return host.find_first_not_of("0123456789.") != std::string_view::npos;
}

}  // namespace zqm
