#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace zqm {

class SystemSettings;

/// The two remote hosts, "host" or "host:port": from the environment (ZQM_GEOLOCATION_HOST, ZQM_COLLECTION_HOST), else
/// as the program was built. Empty: that service does not exist and nothing is ever sent to it.
std::string geolocationHost(SystemSettings& settings);
std::string collectionHost(SystemSettings& settings);

/// "https://" + host + path; nullopt when `host` is anything but a host name or address with an optional port: empty,
/// with a path, a user, white space or a line break in it.
std::optional<std::string> secureUrl(std::string_view host, std::string_view path);

}  // namespace zqm
