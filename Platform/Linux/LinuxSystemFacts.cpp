#include "Platform/Linux/LinuxSystemFacts.h"

#include <sys/utsname.h>

#include <initializer_list>

#include "Platform/Linux/Kernel/KernelText.h"
#include "Platform/Linux/Network/ProxyHosts.h"
#include "Support/Text.h"

namespace zqm {
namespace {

/// A value as the shell understands it: without the quotes around it and the backslashes that escape.
std::string unquote(std::string_view value) {
    const bool isQuoted = value.size() >= 2 && (value[0] == '"' || value[0] == '\'') && value.back() == value[0];
    if (!isQuoted) return std::string(value);
    const bool escapes = value[0] == '"';
    value = value.substr(1, value.size() - 2);
    std::string text;
    for (std::size_t i = 0; i < value.size(); ++i) {
        if (escapes && value[i] == '\\' && i + 1 < value.size()) ++i;
        text += value[i];
    }
    return text;
}

/// What a file of KEY=VALUE lines says about `key`, the last line counting; below the heading `section`, if one is
/// given.
std::optional<std::string> assigned(std::string_view text, std::string_view key, std::string_view section = "") {
    std::optional<std::string> value;
    bool isInSection = section.empty();
    while (!text.empty()) {
        std::string_view line = trimWhitespace(takeUntil(text, '\n'));
        if (line.starts_with('[') && !section.empty()) isInSection = line == section;
        if (line.starts_with("export ")) line = trimWhitespace(line.substr(7));
        if (!isInSection || !line.starts_with(key) || !line.substr(key.size()).starts_with('=')) continue;
        value = unquote(trimWhitespace(line.substr(key.size() + 1)));
    }
    return value;
}

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

/// The value of the first "key : value" line; nullopt when there is none.
std::optional<std::string> lineValue(std::string_view content, std::string_view key) {
    while (const auto line = takeLine(content)) {
        std::string_view value = *line;
        if (trimWhitespace(takeUntil(value, ':')) == key) return std::string(trimWhitespace(value));
    }
    return std::nullopt;
}

/// The first text that is there and not empty.
std::optional<std::string> firstText(std::initializer_list<std::optional<std::string>> texts) {
    for (const auto& text : texts) {
        if (text && !text->empty()) return repairUtf8(*text);
    }
    return std::nullopt;
}

}  // namespace

std::optional<PropertyDictionary> LinuxSystemFacts::proxySettings() {
    const auto variable = [this](std::string_view name) { return settings_.environment(name); };
    if (auto proxies = ProxyHosts::ofVariables(variable).dictionary()) return proxies;
    const MutexLock lock(mutex_);
    if (fileReading_.isDue(clock_.monotonic())) ofFiles_ = readProxyFiles();
    return ofFiles_;
}

std::optional<PropertyDictionary> LinuxSystemFacts::readProxyFiles() const {
    if (auto proxies = desktopProxies(userConfiguration("kioslaverc")).dictionary()) return proxies;
    for (const std::string_view file : {"/etc/environment", "/etc/sysconfig/proxy"}) {
        const std::string text = root_.text(file).value_or("");
        if (assigned(text, "PROXY_ENABLED").value_or("yes") != "yes") continue;  // its proxies stay in the file
        const auto variable = [&](std::string_view name) { return assigned(text, name); };
        if (auto proxies = ProxyHosts::ofVariables(variable).dictionary()) return proxies;
    }
    return std::nullopt;
}

/// A file of the user's configuration; empty when there is none.
std::string LinuxSystemFacts::userConfiguration(std::string_view file) const {
    auto directory = settings_.environment("XDG_CONFIG_HOME");
    if (!directory || !directory->starts_with('/')) {
        directory = settings_.environment("HOME");
        if (!directory || !directory->starts_with('/')) return "";
        directory->append("/.config");
    }
    return root_.text(directory->append("/").append(file)).value_or("");
}

std::optional<std::string> LinuxSystemFacts::bundleText(std::string_view key) {
    if (key == "CFBundleShortVersionString" || key == "CFBundleVersion") return version_;
    return std::nullopt;
}

std::string LinuxSystemFacts::systemVersion() {
    auto kernel = root_.text("/proc/sys/kernel/osrelease");
    utsname names{};
    if (!kernel && root_.isThisMachine() && ::uname(&names) == 0) kernel = names.release;
    const std::string system = kernel ? "Linux " + *kernel : "Linux";
    for (const std::string_view file : {"/etc/os-release", "/usr/lib/os-release"}) {
        const auto distribution = assigned(root_.text(file).value_or(""), "PRETTY_NAME");
        if (distribution && !distribution->empty()) return repairUtf8(*distribution + ", " + system);
    }
    return repairUtf8(system);
}

std::optional<std::string> LinuxSystemFacts::hardwareModel() {
    return firstText({root_.text("/sys/class/dmi/id/product_name"), root_.text("/proc/device-tree/model")});
}

/// On ARM "model name" tells only the architecture's version, so the system on the chip is asked first.
std::optional<std::string> LinuxSystemFacts::processorName() {
    const std::string content = root_.text("/proc/cpuinfo").value_or("") + "\n";
    const auto modelName = lineValue(content, "model name");
    if (!lineValue(content, "CPU implementer")) return firstText({modelName, lineValue(content, "cpu model")});
    return firstText({root_.text("/sys/devices/soc0/machine"), lineValue(content, "Hardware"), modelName});
}

}  // namespace zqm
