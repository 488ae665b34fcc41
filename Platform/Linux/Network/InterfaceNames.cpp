#include "Platform/Linux/Network/InterfaceNames.h"

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

std::string numbered(std::string_view prefix, unsigned number) {
    return std::string(prefix) + std::to_string(number);
}

}  // namespace

const std::vector<std::string>& InterfaceNames::present(const std::vector<std::string_view>& names) {
    if (std::equal(names.begin(), names.end(), names_.begin(), names_.end())) return presented_;
    names_.assign(names.begin(), names.end());
    std::map<std::string, Kind> kinds;
    for (const std::string& name : names_) {
        const auto known = kinds_.find(name);
        kinds.emplace(name, known != kinds_.end() ? known->second : look(name));
    }
    kinds_ = std::move(kinds);
    number();
    return presented_;
}

std::optional<std::string> InterfaceNames::find(std::string_view name) const {
    const auto found = std::find(names_.begin(), names_.end(), name);
    if (found == names_.end()) return std::nullopt;
    return presented_[static_cast<std::size_t>(found - names_.begin())];
}

InterfaceNames::Kind InterfaceNames::look(const std::string& name) const {
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

/// Gives the names out. In a container no interface is device-backed; there the one that leads out is counted.
void InterfaceNames::number() {
    const std::string routes = root_.text("/proc/net/route").value_or("") + "\n";
    const std::string_view leadsOut = defaultRouteInterface(routes);
    std::vector<std::string_view> counted;
    for (const std::string& name : names_) {
        if (kinds_.at(name) != Kind::device) continue;
        counted.insert(name == leadsOut ? counted.begin() : counted.end(), name);
    }
    auto choose = [&](auto matches) {
        if (!counted.empty()) return;
        const auto found = std::find_if(names_.begin(), names_.end(), [&](const std::string& name) {
            return kinds_.at(name) == Kind::other && matches(name);
        });
        if (found != names_.end()) counted.push_back(*found);
    };
    choose([&](std::string_view name) { return name == leadsOut; });
    choose([](std::string_view name) { return name == "eth0"; });
    choose([](std::string_view name) { return beginsWithAny(name, {"eth", "en", "wl"}); });

    unsigned tunnels = 0;
    unsigned loopbacks = 0;
    presented_.clear();
    for (const std::string& name : names_) {
        const auto place = std::find(counted.begin(), counted.end(), name);
        const Kind kind = kinds_.at(name);
        if (place != counted.end()) {
            presented_.push_back(numbered("en", static_cast<unsigned>(place - counted.begin())));
        } else if (kind == Kind::tunnel && !name.starts_with("ppp")) {  // those have their name in the scheme already
            presented_.push_back(numbered("utun", tunnels++));
        } else if (kind == Kind::loopback) {
            presented_.push_back(numbered("lo", loopbacks++));
        } else {
            // Whoever reads the scheme counts what begins with "en".
            presented_.push_back(name.starts_with("en") ? "virtual-" + name : name);
        }
    }
}

std::string_view defaultRouteInterface(std::string_view routes) {
    std::string_view best;
    std::uint64_t bestMetric = std::numeric_limits<std::uint64_t>::max();
    while (auto line = takeLine(routes)) {
        const std::string_view name = takeField(*line);
        const std::string_view destination = takeField(*line);
        skipFields(*line, 4);  // gateway, flags, references, use
        const auto metric = takeCount(*line);
        const bool leadsOut = destination == "00000000" && takeField(*line) == "00000000";
        if (!leadsOut || !metric || *metric >= bestMetric) continue;
        best = name;
        bestMetric = *metric;
    }
    return best;
}

}  // namespace zqm
