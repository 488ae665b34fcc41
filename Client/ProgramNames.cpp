#include "Client/ProgramNames.h"

#include <algorithm>
#include <utility>

#include "Client/Terminal.h"

namespace zqm {
namespace {

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

/// "ksoftirqd/3" and every "kworker/u8:2-events" are numbered, "jbd2/sda1-8" is named.
std::string_view withoutNumber(std::string_view name) {
    const std::size_t end = name.find('/');
    if (end == std::string_view::npos || end == 0) return name;
    const bool isNumbered = end + 1 < name.size() && isDigit(name[end + 1]);
    return isNumbered || name.starts_with("kworker/") ? name.substr(0, end) : name;
}

void add(std::vector<ProgramFigure>& programs, std::string_view name, double value) {
    const auto known =
        std::find_if(programs.begin(), programs.end(), [&](const ProgramFigure& each) { return each.name == name; });
    if (known == programs.end()) {
        programs.push_back({std::string(name), value});
    } else {
        known->value += value;
    }
}

}  // namespace

std::vector<ProgramFigure> summedByName(const std::vector<TopProcess>& ranking) {
    std::vector<ProgramFigure> programs;
    for (const TopProcess& process : ranking) {
        if (process.value > 0) add(programs, printable(withoutNumber(process.name)), process.value);
    }
    std::stable_sort(programs.begin(), programs.end(),
                     [](const ProgramFigure& a, const ProgramFigure& b) { return a.value > b.value; });
    return programs;
}

std::vector<ProgramFigure> ProgramNames::bounded(ProcessCategory category, std::vector<ProgramFigure> programs,
                                                 MonotonicTime now) {
    Places& places = places_[static_cast<std::size_t>(category)];
    std::erase_if(places.lastSeen, [&](const auto& place) { return now - place.second > memory; });
    std::vector<ProgramFigure> told;
    double others = 0;
    Times waitsFrom;
    for (ProgramFigure& program : programs) {
        const auto waiting = places.waitsFrom.find(program.name);
        const MonotonicTime since = waiting == places.waitsFrom.end() ? now : waiting->second;
        const std::size_t free = now - since >= patience ? most : atOnce;
        if (places.lastSeen.contains(program.name) || places.lastSeen.size() < free) {
            places.lastSeen[program.name] = now;
            told.push_back(std::move(program));
        } else {
            others += program.value;
            waitsFrom.emplace(std::move(program.name), since);
        }
    }
    places.waitsFrom = std::move(waitsFrom);
    if (others > 0) add(told, otherName, others);
    return told;
}

}  // namespace zqm
