#include "Platform/Linux/Kernel/KernelText.h"

#include <algorithm>
#include <cmath>

#include "Platform/Linux/Details/FileSystems.h"
#include "Platform/Linux/Details/GraphicsUsers.h"
#include "Platform/Linux/Hardware/Batteries.h"
#include "Platform/Linux/Hardware/Memory.h"
#include "Platform/Linux/Network/Interfaces.h"
#include "Platform/Linux/Network/ProxyHosts.h"
#include "Platform/Linux/Processes/ProcessNames.h"
#include "Platform/Linux/Processes/ProcessScan.h"
#include "Support/Text.h"
#include "fuzz/Fuzzing.h"

// Any bytes as one of the texts of /proc and /sys that have a parser of their own; the first byte says which.

namespace zqm {
namespace {

bool isPartOf(std::string_view part, std::string_view whole) {
    return part.empty() || (part.data() >= whole.data() && part.data() + part.size() <= whole.data() + whole.size());
}

void checkMemory(std::string_view text) {
    const MemoryInfo info = parseMemoryInfo(text);
    require(usedBytes(info).value_or(0) <= info.total.value_or(0), "no more memory is used than there is");
}

void checkNumberList(std::string_view text) {
    constexpr unsigned limit = 300;
    const auto numbers = parseNumberList(text, limit);
    require(std::adjacent_find(numbers.begin(), numbers.end(), std::greater_equal<>()) == numbers.end(),
            "the numbers ascend");
    require(numbers.empty() || numbers.back() < limit, "the numbers are below the limit");
}

void checkProcessStat(std::string_view text) {
    const auto stat = parseProcessStat(text);
    if (!stat) return;
    require(isPartOf(stat->name, text), "the name is a part of the text");
    require(text.rfind(')') == static_cast<std::size_t>(stat->name.data() + stat->name.size() - text.data()),
            "the name ends at the last bracket");
}

/// The text up to an empty line and the text after it as two batteries, and both as one.
void checkBatteries(std::string_view text) {
    const std::size_t end = std::min(text.find("\n\n"), text.size());
    std::vector<BatteryFacts> batteries;
    for (const std::string_view properties : {text.substr(0, end), text.substr(end)}) {
        if (const auto battery = parseBattery(properties)) batteries.push_back(*battery);
    }
    if (!batteries.empty()) batteries.push_back(combine(batteries));
    for (const BatteryFacts& battery : batteries) {
        for (const auto& value : {battery.level, battery.charge, battery.full, battery.design, battery.volts,
                                  battery.watts, battery.fullAmpereHours, battery.designAmpereHours}) {
            require(std::isfinite(value.value_or(0)), "a battery's figures are finite");
        }
        require(battery.level.value_or(0) >= 0 && battery.level.value_or(0) <= 1, "a level is a fraction");
        require(minutesLeft(battery).value_or(0) >= 0, "time that is left is not negative");
    }
}

void checkProxy(std::string_view text) {
    const auto proxy = parseProxy(text);
    if (!proxy) return;
    require(!proxy->host.empty() && text.find(proxy->host) != text.npos, "the host is a part of the setting");
    require(proxy->host.find_first_of("/@[] ") == proxy->host.npos, "the host is nothing but a host");
}

/// The text up to a line feed as the name that was cut, the rest as the arguments and as the executable's path.
void checkName(std::string_view text) {
    const std::size_t end = std::min(text.find('\n'), text.size());
    const auto cut = text.substr(0, end);
    require(completeProcessName(cut, text.substr(end), text.substr(end)).starts_with(cut),
            "a name keeps its beginning");
}

void checkLines(std::string_view text) {
    std::string_view rest = text;
    while (auto line = takeLine(rest)) {
        require(isPartOf(*line, text) && line->find('\n') == line->npos, "a line is a part of the text");
        std::string_view copy = *line;
        while (!line->empty()) {
            const auto count = takeCount(*line);
            const auto field = takeWord(copy);
            require(line->size() == copy.size(), "a count is a field");
            require(!count || field.find_first_not_of("0123456789") == field.npos, "a count is digits");
        }
    }
}

void checkRoutes(std::string_view text) {
    for (const auto& interfaces : {defaultRoutes(text), defaultRoutes6(text)}) {
        for (const std::string& name : interfaces) {
            require(text.find(name) != std::string_view::npos, "an interface is a part of the table");
        }
    }
}

void checkGraphicsClient(std::string_view text) {
    const auto client = parseGraphicsClient(text, MonotonicTime(Seconds(1000)));
    if (!client) return;
    for (const EngineUse& use : client->engines) {
        require(std::isfinite(use.busy) && use.busy >= 0, "work is counted upwards");
        require(std::isfinite(use.passed) && use.passed >= 0, "time is, too");
    }
}

void checkMounts(std::string_view text) {
    const auto points = mountPoints(text);
    require(std::is_sorted(points.begin(), points.end()), "mount points are sorted");
}

constexpr void (*checks[])(std::string_view){checkMemory,         checkNumberList, checkProcessStat, checkBatteries,
                                             checkProxy,          checkName,       checkLines,       checkRoutes,
                                             checkGraphicsClient, checkMounts};

}  // namespace
}  // namespace zqm

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace zqm;
    auto text = textOf(data, size);
    checks[takeChoice(text, std::size(checks))](text);
    return 0;
}
