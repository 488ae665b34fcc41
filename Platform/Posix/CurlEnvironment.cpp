#include "Platform/Posix/CurlEnvironment.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <optional>
#include <string_view>

#include "Platform/Posix/Descriptor.h"
#include "Platform/Posix/Problem.h"
#include "Support/Text.h"

namespace zqm {
namespace {

std::string variable(const char* name) {
    const char* value = std::getenv(name);
    return value ? value : "";
}

/// What is wrong with a PEM file of authorities; nullopt when it may be one.
std::optional<std::string> problemWithAuthorities(const std::string& path) {
    const Descriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    struct stat facts {};
    if (!file || ::fstat(file.get(), &facts) != 0) return problemWith(path, errno);
    if (!S_ISREG(facts.st_mode)) return path + ": not a file";
    std::string text;
    std::array<char, 16384> block;
    ssize_t count = 0;
    while ((count = ::read(file.get(), block.data(), block.size())) > 0) {
        text.append(block.data(), static_cast<std::size_t>(count));
        for (const char* begin : {"-----BEGIN CERTIFICATE-----", "-----BEGIN TRUSTED CERTIFICATE-----"}) {
            if (text.find(begin) != std::string::npos) return std::nullopt;
        }
        text.erase(0, text.size() - std::min<std::size_t>(text.size(), 64));  // a line may lie across two blocks
    }
    return count < 0 ? problemWith(path, errno) : path + ": no certificate in it (PEM)";
}

/// [scheme://][user:password@]host[:port][/...]
bool isProxyAddress(std::string_view text) {
    constexpr std::array<std::string_view, 6> schemes{"http", "https", "socks4", "socks4a", "socks5", "socks5h"};
    if (const auto end = text.find("://"); end != std::string_view::npos) {
        std::string scheme(text.substr(0, end));
        std::transform(scheme.begin(), scheme.end(), scheme.begin(),
                       [](char c) { return static_cast<char>(c | 0x20); });
        if (std::find(schemes.begin(), schemes.end(), scheme) == schemes.end()) return false;
        text.remove_prefix(end + 3);
    }
    text = text.substr(0, text.find('/'));
    if (const auto user = text.rfind('@'); user != std::string_view::npos) text.remove_prefix(user + 1);
    const auto colon = text.rfind(':');
    if (colon != std::string_view::npos && !text.ends_with(']')) {
        const auto port = parseUnsigned(text.substr(colon + 1));
        if (!port || *port == 0 || *port > 65535) return false;
        text = text.substr(0, colon);
    }
    const bool isAddress6 = text.starts_with('[') && text.ends_with(']');
    return !text.empty() && (isAddress6 || text.find_first_of(" \t[]:") == std::string_view::npos);
}

}  // namespace

std::vector<std::string> curlEnvironmentObstacles() {
    std::vector<std::string> obstacles;
    if (const auto file = variable("ZQM_CA_FILE"); !file.empty()) {
        if (const auto problem = problemWithAuthorities(file)) {
            obstacles.push_back("ZQM_CA_FILE: " + *problem + "; no host can be asked until it is mended or unset");
        }
    }
    for (const char* name : {"https_proxy", "HTTPS_PROXY", "all_proxy", "ALL_PROXY"}) {
        const auto proxy = variable(name);
        if (proxy.empty()) continue;
        if (!isProxyAddress(proxy)) {
            obstacles.push_back(std::string(name) +
                                " is not [http|https|socks4|socks4a|socks5|socks5h://][user:password@]host[:port]; no "
                                "host can be asked until it is mended or unset");
        }
        break;  // libcurl takes the first that is set
    }
    return obstacles;
}

}  // namespace zqm
