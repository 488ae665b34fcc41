#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <nlohmann/json.hpp>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "Platform/Machine/MachineDetails.h"
#include "ZQMHelper/Shared/MetricsJson.h"
#include "ZQMHelper/Shared/MonitorEngine.h"
#include "tests/fakes/MachinePlatform.h"

// What the sweeps of faults compare: whatever fails, every sample is published, its numbers are finite, and it differs
// from the sample of a whole machine only in what the failed source feeds.

namespace zqm {

using Members = std::set<std::string, std::less<>>;
using Snapshots = std::vector<nlohmann::json>;

/// The first samples of an engine on `machine`, `between` being called with the number of those taken before each.
/// One that is not published or holds a number that is not finite is null.
inline Snapshots sample(Machine& machine, FakePlatform& fakes, int count,
                        const std::function<void(int taken)>& between) {
    Platform platform = platformOn(machine, fakes);
    const auto settings = std::make_shared<SettingsStore>(platform);
    const auto engine = std::make_shared<MonitorEngine>(settings, std::make_shared<SMCBridge>(platform), platform);
    Snapshots snapshots;
    std::optional<std::string> published;
    engine->observation().onChange([&](std::string_view) { published = encode(engine->snapshot()); });
    engine->start();
    while (static_cast<int>(snapshots.size()) < count) {
        between(static_cast<int>(snapshots.size()));
        published.reset();
        fakes.loop.runFor(Seconds(1));
        snapshots.push_back(published ? nlohmann::json::parse(*published) : nlohmann::json());
    }
    return snapshots;
}

/// What people ask besides, as members of a sample; processes 901 to 909.
inline nlohmann::json detailsOf(MachineDetails& details) {
    nlohmann::json told{{"drives", nullptr},       {"interfaces", nullptr}, {"volumes", nullptr},
                        {"temperatures", nullptr}, {"fans", nullptr},       {"processes", nullptr},
                        {"loadAverages", nullptr}, {"uptime", nullptr},     {"size", nullptr}};
    for (const auto& [name, read, written] : details.drives()) told["drives"][name] = {read, written};
    for (const auto& [name, received, sent] : details.interfaces()) told["interfaces"][name] = {received, sent};
    for (const auto& [point, total, available] : details.fileSystems()) told["volumes"][point] = {total, available};
    for (const auto& [name, celsius] : details.temperatures()) told["temperatures"][name] = celsius;
    for (const auto& [name, turns] : details.fans()) told["fans"][name] = turns;
    for (int pid = 901; pid < 910; ++pid) {
        const auto facts = details.process(pid);
        if (facts) told["processes"][std::to_string(pid)] = {facts->startTime, facts->user, facts->command};
    }
    if (const auto loads = details.loadAverages()) told["loadAverages"] = *loads;
    if (const auto uptime = details.uptime()) told["uptime"] = uptime->count();
    if (const auto size = details.size()) told["size"] = {size->memory, size->processors};
    return told;
}

/// Equal but for the last digits of numbers: times add up differently when a reader that failed did not wait.
inline bool isAlike(const nlohmann::json& left, const nlohmann::json& right) {
    if (left.is_number() && right.is_number()) {
        const double a = left.get<double>();
        const double b = right.get<double>();
        return std::abs(a - b) <= 1e-9 * std::max(std::abs(a), std::abs(b));
    }
    if (!left.is_structured() || left.type() != right.type() || left.size() != right.size()) return left == right;
    for (auto l = left.begin(), r = right.begin(); l != left.end(); ++l, ++r) {
        if ((left.is_object() && l.key() != r.key()) || !isAlike(*l, *r)) return false;
    }
    return true;
}

/// The top-level members in which two samples differ; "everything" when there is no sample.
inline Members differences(const nlohmann::json& left, const nlohmann::json& right) {
    if (left.is_null() || right.is_null()) return {"everything"};
    Members names;
    for (const auto& [name, value] : left.items()) {
        if (!isAlike(value, right.at(name))) names.insert(name);
    }
    return names;
}

/// What is fed from where; the first beginning of a place counts.
using Feeding = std::vector<std::pair<std::string_view, Members>>;
inline Members fedBy(const Feeding& feeding, std::string_view place) {
    for (const auto& [beginning, members] : feeding) {
        if (place.starts_with(beginning)) return members;
    }
    return {};
}

inline void expectWithin(const Members& found, const Members& allowed) {
    for (const std::string& name : found) EXPECT_TRUE(allowed.contains(name)) << name;
}

}  // namespace zqm
