#include "Platform/Linux/Network/Interfaces.h"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <utility>

#include "Platform/Linux/Kernel/KernelText.h"
#include "Support/Text.h"

namespace zqm {
namespace {

bool beginsWithAny(std::string_view name, std::initializer_list<std::string_view> prefixes) {
    return std::any_of(prefixes.begin(), prefixes.end(), [&](std::string_view each) { return name.starts_with(each); });
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
    if (!isKnown(name)) list();
    const auto found = std::find(names_.begin(), names_.end(), name);
    if (found == names_.end()) return Role::other;
    if (isCounted_[static_cast<std::size_t>(found - names_.begin())]) {
        return *found == leadsOut_ ? Role::leadsOut : Role::counted;
    }
    return kinds_.at(*found) == Kind::tunnel || name.starts_with("ipsec") ? Role::tunnel : Role::other;
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
    if (root_.exists(directory + "/device")) {
        // Behind a device that is itself the front of another (a virtual machine's fast path) the bytes count again.
        return root_.exists(directory + "/master/device") ? Kind::other : Kind::device;
    }
    const auto type = root_.number(directory + "/type");
    if (name == "lo" || type == typeLoopback) return Kind::loopback;
    return type == typeNone || beginsWithAny(name, {"tun", "tap", "wg", "utun", "ppp"}) ? Kind::tunnel : Kind::other;
}

void Interfaces::chooseCounted() {
    const std::string routes = root_.text("/proc/net/route").value_or("") + "\n";
    const std::string_view route = defaultRouteInterface(routes);
    isCounted_.clear();
    for (const std::string& name : names_) isCounted_.push_back(kinds_.at(name) == Kind::device);
    const auto choose = [&](auto matches) {
        if (std::count(isCounted_.begin(), isCounted_.end(), true) > 0) return;
        const auto found = std::find_if(names_.begin(), names_.end(), [&](const std::string& name) {
            return kinds_.at(name) == Kind::other && matches(name);
        });
        if (found != names_.end()) isCounted_[static_cast<std::size_t>(found - names_.begin())] = true;
    };
    choose([&](std::string_view name) { return name == route; });
    choose([](std::string_view name) { return name == "eth0"; });
    choose([](std::string_view name) { return beginsWithAny(name, {"eth", "en", "wl"}); });
    leadsOut_.clear();
    for (std::size_t i = 0; i < names_.size(); ++i) {
        if (isCounted_[i] && (leadsOut_.empty() || names_[i] == route)) leadsOut_ = names_[i];
    }
}

bool Interfaces::isKnown(std::string_view name) const {
    return std::find(names_.begin(), names_.end(), name) != names_.end();
}

std::string_view defaultRouteInterface(std::string_view routes) {
    std::string_view best;
    std::uint64_t bestMetric = std::numeric_limits<std::uint64_t>::max();
    while (auto line = takeLine(routes)) {
        const std::string_view name = takeWord(*line);
        const std::string_view destination = takeWord(*line);
        skipFields(*line, 4);  // gateway, flags, references, use
        const auto metric = takeCount(*line);
        const bool leadsOut = destination == "00000000" && takeWord(*line) == "00000000";
        if (!leadsOut || !metric || *metric >= bestMetric) continue;
        best = name;
        bestMetric = *metric;
    }
    return best;
}

}  // namespace zqm
