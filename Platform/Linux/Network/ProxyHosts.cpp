#include "Platform/Linux/Network/ProxyHosts.h"

#include <algorithm>
#include <cstdint>
#include <utility>

#include "Support/Text.h"

namespace zqm {
namespace {

bool isLetterOrDigit(char c) {
    return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

template <char changeFrom, char changeTo>
std::string changeCase(std::string_view text) {
    std::string changed(text);
    for (char& c : changed) {
        if (c >= changeFrom && c < changeFrom + 26) c = static_cast<char>(c - changeFrom + changeTo);
    }
    return changed;
}

bool isPort(std::string_view text) {
    const auto port = parseUnsigned(text);
    return text.empty() || (port && *port <= 65535);
}

/// Takes the scheme off the front; http, as everywhere, when there is none.
std::string takeScheme(std::string_view& setting) {
    const std::size_t end = setting.find("://");
    if (end == std::string_view::npos) return "http";
    std::string scheme = changeCase<'A', 'a'>(setting.substr(0, end));
    setting.remove_prefix(end + 3);
    return scheme;
}

std::optional<std::string> parseHost(std::string_view hostAndPort) {
    const bool isBracketed = hostAndPort.starts_with('[');
    const std::size_t end = isBracketed ? hostAndPort.find(']') : std::min(hostAndPort.find(':'), hostAndPort.size());
    if (end == std::string_view::npos) return std::nullopt;
    const std::string_view host = hostAndPort.substr(isBracketed, end - isBracketed);
    std::string_view port = hostAndPort.substr(end + isBracketed);
    if (!port.empty() && port.front() != ':') return std::nullopt;
    if (!port.empty()) port.remove_prefix(1);
    const std::string_view others = isBracketed ? ".:%-_" : ".-_";
    const bool isName = std::all_of(host.begin(), host.end(), [&](char c) {
        return isLetterOrDigit(c) || static_cast<unsigned char>(c) >= 0x80 || others.find(c) != std::string_view::npos;
    });
    if (host.empty() || !isName || !isValidUtf8(host) || !isPort(port)) return std::nullopt;
    return std::string(host);
}

}  // namespace

std::optional<Proxy> parseProxy(std::string_view setting) {
    setting = trimWhitespace(setting);
    const std::string scheme = takeScheme(setting);
    const bool isSocks = scheme.starts_with("socks");
    if (!isSocks && scheme != "http" && scheme != "https") return std::nullopt;
    // Before the path is cut off: a password with a solidus in it must not make its user the host.
    if (const std::size_t at = setting.rfind('@'); at != std::string_view::npos) setting.remove_prefix(at + 1);
    auto host = parseHost(setting.substr(0, setting.find_first_of("/?#")));
    return host ? std::optional(Proxy{*std::move(host), isSocks}) : std::nullopt;
}

ProxyHosts ProxyHosts::ofVariables(const Variables& variables) {
    const auto proxy = [&](std::string_view name) {
        auto small = parseProxy(variables(name).value_or(""));
        return small ? small : parseProxy(variables(changeCase<'a', 'A'>(name)).value_or(""));
    };
    ProxyHosts hosts;
    const auto add = [&](const std::optional<Proxy>& found, std::optional<std::string>& place) {
        auto& ofItsKind = found && found->isSocks ? hosts.socks : place;
        if (found && !ofItsKind) ofItsKind = found->host;
    };
    add(proxy("http_proxy"), hosts.http);
    add(proxy("https_proxy"), hosts.https);
    add(proxy("socks_proxy"), hosts.socks);
    const auto forAll = proxy("all_proxy");
    add(forAll, hosts.http);
    add(forAll, hosts.https);
    return hosts;
}

ProxyReading ProxyHosts::reading() const {
    return {.isOn = http || https || socks, .host = http ? *http : socks.value_or("")};
}

}  // namespace zqm
