#include "ZQMHelper/Shared/Deployment.h"

#include <algorithm>
#include <cctype>

#include "Platform/Process/SystemSettings.h"
#include "Support/Text.h"

namespace zqm {
namespace {

bool isPort(std::string_view text) {
    const auto port = parseUnsigned(text);
    return port && *port > 0 && *port <= 65535 && std::isdigit(static_cast<unsigned char>(text.front())) != 0;
}

bool consistsOf(std::string_view text, bool (*allowed)(unsigned char)) {
    return !text.empty() && std::all_of(text.begin(), text.end(), [allowed](unsigned char c) { return allowed(c); });
}

bool isName(std::string_view host) {
    return consistsOf(host, [](unsigned char c) { return std::isalnum(c) != 0 || c == '-' || c == '.'; }) &&
           !host.starts_with('-') && !host.starts_with('.') && host.find("..") == std::string_view::npos;
}

bool isAddress6(std::string_view host) {
    return host.size() > 4 && host.starts_with('[') && host.ends_with(']') &&
           consistsOf(host.substr(1, host.size() - 2),
                      [](unsigned char c) { return std::isxdigit(c) != 0 || c == ':' || c == '.'; });
}

}  // namespace

std::string geolocationHost(SystemSettings& settings) {
    return settings.environment("ZQM_GEOLOCATION_HOST").value_or(ZQM_GEOLOCATION_HOST);
}

std::string collectionHost(SystemSettings& settings) {
    return settings.environment("ZQM_COLLECTION_HOST").value_or(ZQM_COLLECTION_HOST);
}

std::optional<std::string> secureUrl(std::string_view host, std::string_view path) {
    std::string_view name = host;
    if (const auto colon = host.rfind(':'); colon != std::string_view::npos && !host.ends_with(']')) {
        if (!isPort(host.substr(colon + 1))) return std::nullopt;
        name = host.substr(0, colon);
    }
    if (!isName(name) && !isAddress6(name)) return std::nullopt;
    std::string url = "https://";
    url += host;
    url += path;
    return url;
}

}  // namespace zqm
