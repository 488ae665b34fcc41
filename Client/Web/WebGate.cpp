#include "Client/Web/WebGate.h"

#include <array>
#include <limits>
#include <optional>

#include "Support/ConstantTime.h"
#include "Support/HttpText.h"
#include "Support/Text.h"

namespace zqm {
namespace {

struct Path {
    std::string_view text;
    WebRoute route;
};
constexpr std::array paths{Path{"/", WebRoute::page}, Path{"/api/now", WebRoute::now},
                           Path{"/api/history", WebRoute::history}, Path{"/api/cores", WebRoute::cores},
                           Path{"/api/sources", WebRoute::sources}};

bool isOwnHost(std::string_view host, const ListenAddress& address) {
    const bool isNumber = !host.empty() && host != "localhost" && !isForeignName(host);
    if (host == "localhost" || host == "[::1]" || (isNumber && host.starts_with("127."))) return true;
    if (address.isLoopback()) return false;
    const std::string own = address.host.find(':') == std::string::npos ? address.host : "[" + address.host + "]";
    const bool isAny = address.host == "0.0.0.0" || address.host == "::";
    return host == own || (isAny && isNumber);
}

/// Whether a browser says that the request is not the page's own or its user's.
bool isFromElsewhere(std::string_view request, WebRoute route) {
    const std::string_view site = headerOf(request, "sec-fetch-site");
    if (site.empty() || site == "same-origin" || site == "none") return false;
    return route != WebRoute::page || headerOf(request, "sec-fetch-dest") != "document";
}

bool holdsKey(std::string_view request, std::string_view key) {
    constexpr std::string_view scheme = "Bearer ";
    const std::string_view given = headerOf(request, "authorization");
    return given.starts_with(scheme) && equalInConstantTime(given.substr(scheme.size()), key);
}

std::optional<std::uint32_t> numberIn(std::string_view query, std::string_view name) {
    while (!query.empty()) {
        std::string_view value = takeUntil(query, '&');
        if (takeUntil(value, '=') != name) continue;
        const auto number = parseUnsigned(value);
        const bool fits = number && *number <= std::numeric_limits<std::uint32_t>::max();
        return fits ? std::optional(static_cast<std::uint32_t>(*number)) : std::nullopt;
    }
    return std::nullopt;
}

}  // namespace

std::variant<WebQuestion, std::string_view> webQuestion(std::string_view request, const WebAccess& access) {
    if (!isOwnHost(hostOf(request), access.address)) return "403 Forbidden";
    const RequestTarget target = targetOf(request);
    if (target.path.empty()) return "405 Method Not Allowed";
    std::optional<WebRoute> route;
    for (const Path& path : paths) {
        if (path.text == target.path) route = path.route;
    }
    if (!route) return "404 Not Found";
    if (isFromElsewhere(request, *route)) return "403 Forbidden";
    WebQuestion question{*route, 0, 0, target.isHead};
    if (route == WebRoute::page) return question;
    if (!holdsKey(request, access.key)) return "401 Unauthorized";
    if (route != WebRoute::history && route != WebRoute::cores) return question;
    const auto from = numberIn(target.query, "from");
    const auto to = numberIn(target.query, "to");
    if (!from || !to) return "400 Bad Request";
    question.from = *from;
    question.to = *to;
    return question;
}

std::string webResponse(std::string_view status, std::string_view type, std::string_view body,
                        std::string_view policy) {
    std::string headers = "Content-Type: ";
    headers += type;
    headers += "\r\nContent-Security-Policy: ";
    headers += policy;
    headers +=
        "\r\nX-Content-Type-Options: nosniff\r\nX-Frame-Options: DENY\r\nReferrer-Policy: no-referrer\r\n"
        "Cache-Control: no-store\r\nCross-Origin-Resource-Policy: same-origin\r\n"
        "Cross-Origin-Opener-Policy: same-origin\r\n";
    if (status.starts_with("405")) headers += "Allow: GET, HEAD\r\n";
    if (status.starts_with("401")) headers += "WWW-Authenticate: Bearer\r\n";
    return httpResponse(status, headers, body);
}

}  // namespace zqm
