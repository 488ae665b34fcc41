#include "Platform/Linux/Network/Proxies.h"

#include "Platform/Linux/Kernel/Assignments.h"
#include "Platform/Linux/Network/ProxyHosts.h"
#include "Support/Text.h"

namespace zqm {
namespace {

/// The proxies of a KDE session, which writes "http://host 8080".
ProxyHosts desktopProxies(std::string_view text) {
    constexpr std::string_view section = "[Proxy Settings]";
    constexpr std::string_view setByHand = "1";
    if (assigned(text, "ProxyType", section) != setByHand) return {};
    const auto host = [&](std::string_view key) -> std::optional<std::string> {
        const std::string value = assigned(text, key, section).value_or("");
        std::string_view words = value;
        const auto proxy = parseProxy(takeWord(words));
        return proxy ? std::optional(proxy->host) : std::nullopt;
    };
    return {.http = host("httpProxy"), .https = host("httpsProxy"), .socks = host("socksProxy")};
}

}  // namespace

ProxyReading Proxies::read() {
    return find().proxy;
}

SourceDescription Proxies::describe() {
    const Found found = find();
    if (found.proxy.isOn) return {found.place, ""};
    return {"environment, kioslaverc, /etc/environment, /etc/sysconfig/proxy", "no proxy is set"};
}

Proxies::Found Proxies::find() {
    const auto variable = [this](std::string_view name) { return settings_.environment(name); };
    const ProxyReading proxy = ProxyHosts::ofVariables(variable).reading();
    if (proxy.isOn) return {proxy, "environment"};
    if (fileReading_.isDue(clock_.monotonic())) ofFiles_ = findInFiles();
    return ofFiles_;
}

Proxies::Found Proxies::findInFiles() const {
    const ProxyReading desktop = desktopProxies(userConfiguration("kioslaverc")).reading();
    if (desktop.isOn) return {desktop, "kioslaverc"};
    for (const char* file : {"/etc/environment", "/etc/sysconfig/proxy"}) {
        const std::string text = root_.text(file).value_or("");
        if (assigned(text, "PROXY_ENABLED").value_or("yes") != "yes") continue;  // its proxies stay in the file
        const auto variable = [&](std::string_view name) { return assigned(text, name); };
        const ProxyReading proxy = ProxyHosts::ofVariables(variable).reading();
        if (proxy.isOn) return {proxy, file};
    }
    return {};
}

/// A file of the user's configuration; empty when there is none.
std::string Proxies::userConfiguration(std::string_view file) const {
    auto directory = settings_.environment("XDG_CONFIG_HOME");
    if (!directory || !directory->starts_with('/')) {
        directory = settings_.environment("HOME");
        if (!directory || !directory->starts_with('/')) return "";
        directory->append("/.config");
    }
    return root_.text(directory->append("/").append(file)).value_or("");
}

}  // namespace zqm
