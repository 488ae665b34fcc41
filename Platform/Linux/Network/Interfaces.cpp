#include "Platform/Linux/Network/Interfaces.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <utility>

#include "Platform/Linux/Kernel/KernelText.h"
#include "Support/Text.h"

namespace zqm {
namespace {

bool beginsWithAny(std::string_view name, std::initializer_list<std::string_view> prefixes) {
    return std::any_of(prefixes.begin(), prefixes.end(), [&](std::string_view each) { return name.starts_with(each); });
}

using MetricsOfNames = std::vector<std::pair<std::uint64_t, std::string>>;

std::vector<std::string> byMetric(MetricsOfNames routes) {
    std::stable_sort(routes.begin(), routes.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
    std::vector<std::string> names;
    for (auto& [metric, name] : routes) names.push_back(std::move(name));
    return names;
}

}  // namespace

std::optional<std::vector<InterfaceReading>> Interfaces::read() {
    if (!list()) return std::nullopt;
    std::vector<InterfaceReading> counted;
    for (std::size_t i = 0; i < rows_.size(); ++i) {
        if (!isCounted_[i]) continue;
        std::string_view counters = rows_[i].counters;
        const auto received = takeCount(counters);
        skipFields(counters, 7);  // packets, errors and the like
        const auto sent = takeCount(counters);
        if (received && sent) counted.push_back({.name = names_[i], .received = *received, .sent = *sent});
    }
    return counted;
}

Interfaces::Role Interfaces::role(std::string_view name) {
    auto found = place(name);
    if (!found && list()) found = place(name);
    if (!found) return Role::other;
    if (isCounted_[*found]) return Role::counted;
    const Kind kind = kinds_.at(names_[*found]);
    if (kind == Kind::loopback) return Role::loopback;
    if (kind == Kind::tunnel || name.starts_with("ipsec")) return Role::tunnel;
    return isAboveCounted(names_[*found]) ? Role::aboveCounted : Role::other;
}

/// Through several storeys: a VLAN on a bond on two devices.
bool Interfaces::isAboveCounted(const std::string& name, int storeys) const {
    static constexpr std::string_view prefix = "lower_";
    if (storeys == 0) return false;
    const auto lowers = root_.names("/sys/class/net/" + name, prefix);
    return std::any_of(lowers.begin(), lowers.end(), [&](const std::string& lower) {
        const auto found = place(std::string_view(lower).substr(prefix.size()));
        return found && (isCounted_[*found] || isAboveCounted(names_[*found], storeys - 1));
    });
}

bool Interfaces::list() {
    const auto content = devices_.read();
    if (!content) return false;
    rows_.clear();
    std::string_view rest = *content;
    while (const auto line = takeLine(rest)) {
        const std::size_t colon = line->rfind(':');  // a name may hold colons, the figures never do
        if (colon == std::string_view::npos) continue;
        std::string_view beforeColon = line->substr(0, colon);
        const std::string_view name = takeWord(beforeColon);
        if (!name.empty()) rows_.push_back({name, line->substr(colon + 1)});
    }
    const auto sameName = [](const Row& row, const std::string& name) { return row.name == name; };
    if (!std::equal(rows_.begin(), rows_.end(), names_.begin(), names_.end(), sameName)) recognise();
    return true;
}

void Interfaces::recognise() {
    names_.clear();
    std::map<std::string, Kind> kinds;
    for (const Row& row : rows_) {
        const std::string& name = names_.emplace_back(row.name);
        const auto known = kinds_.find(name);
        kinds.emplace(name, known != kinds_.end() ? known->second : look(name));
    }
    kinds_ = std::move(kinds);
    chooseCounted();
}

Interfaces::Kind Interfaces::look(const std::string& name) const {
    constexpr std::uint64_t typeLoopback = 772;
    constexpr std::uint64_t typeNone = 65534;  // packets without a link layer: tun, WireGuard
    const std::string directory = "/sys/class/net/" + name;
    if (root_.exists(directory + "/device") && isNetwork(name)) {
        // Behind a device that is itself the front of another (a virtual machine's fast path) the bytes count again.
        return root_.exists(directory + "/master/device") ? Kind::other : Kind::device;
    }
    const auto type = root_.number(directory + "/type");
    if (root_.exists(directory + "/device")) return Kind::other;
    if (name == "lo" || type == typeLoopback) return Kind::loopback;
    return type == typeNone || beginsWithAny(name, {"tun", "tap", "wg", "utun", "ppp"}) ? Kind::tunnel : Kind::other;
}

/// Not a port of a switch, whose bytes its conduit counts, and not a bus, a radio that listens or the like.
bool Interfaces::isNetwork(const std::string& name) const {
    const std::string directory = "/sys/class/net/" + name;
    if (root_.text(directory + "/uevent").value_or("").find("DEVTYPE=dsa") != std::string::npos) return false;
    constexpr std::array<std::uint64_t, 4> networks{1, 32, 519, 65534};  // Ethernet, InfiniBand, two forms of WWAN
    const auto type = root_.number(directory + "/type");
    return !type || std::find(networks.begin(), networks.end(), *type) != networks.end();
}

void Interfaces::chooseCounted() {
    const auto routes = defaultRoutes(root_.text("/proc/net/route").value_or("") + "\n");
    isCounted_.clear();
    for (const std::string& name : names_) isCounted_.push_back(kinds_.at(name) == Kind::device);
    const auto choose = [&](auto matches) {
        if (std::count(isCounted_.begin(), isCounted_.end(), true) > 0) return;
        const auto found = std::find_if(names_.begin(), names_.end(), [&](const std::string& name) {
            return kinds_.at(name) == Kind::other && matches(name);
        });
        if (found != names_.end()) isCounted_[static_cast<std::size_t>(found - names_.begin())] = true;
    };
    choose([&](std::string_view name) { return !routes.empty() && name == routes.front(); });
    choose([](std::string_view name) { return name == "eth0"; });
    choose([](std::string_view name) { return beginsWithAny(name, {"eth", "en", "wl"}); });
}

std::optional<std::size_t> Interfaces::place(std::string_view name) const {
    const auto found = std::find(names_.begin(), names_.end(), name);
    if (found == names_.end()) return std::nullopt;
    return static_cast<std::size_t>(found - names_.begin());
}

std::vector<std::string> defaultRoutes(std::string_view routes) {
    MetricsOfNames found;
    while (auto line = takeLine(routes)) {
        const std::string_view name = takeWord(*line);
        const std::string_view destination = takeWord(*line);
        skipFields(*line, 4);  // gateway, flags, references, use
        const auto metric = takeCount(*line);
        if (metric && destination == "00000000" && takeWord(*line) == "00000000") found.emplace_back(*metric, name);
    }
    return byMetric(std::move(found));
}

std::vector<std::string> defaultRoutes6(std::string_view routes) {
    constexpr std::uint64_t refusing = 0x200;
    MetricsOfNames found;
    while (auto line = takeLine(routes)) {
        const std::string_view destination = takeWord(*line);
        const bool isDefault = takeWord(*line) == "00" && destination.find_first_not_of('0') == std::string_view::npos;
        skipFields(*line, 3);  // source, its length, next hop
        const auto metric = takeHexadecimal(*line);
        skipFields(*line, 2);  // references, use
        const auto flags = takeHexadecimal(*line);
        const std::string_view name = takeWord(*line);
        if (isDefault && metric && flags && (*flags & refusing) == 0 && name != "lo") found.emplace_back(*metric, name);
    }
    return byMetric(std::move(found));
}

}  // namespace zqm
