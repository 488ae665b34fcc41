#pragma once

#include <nlohmann/json.hpp>

#include "ZQMHelper/Shared/DiagnosticsCollector.h"
#include "ZQMHelper/Shared/MetricsJson.h"
#include "fuzz/Fuzzing.h"
#include "fuzz/Utf8Model.h"
#include "tests/fakes/WholeHelper.h"

namespace zqm {

/// Lets the helper's samplers run on `machine` for three seconds of virtual time, `change` being called after each but
/// the last, and checks what they would send.
inline void checkSamples(Machine& machine, FakePlatform& fakes, const std::function<void()>& change) {
    WholeHelper helper(machine, fakes);
    helper.start();
    for (int second = 1; second <= 3; ++second) {
        fakes.loop.runFor(Seconds(1));
        if (second < 3) change();
    }
    const std::string text = helper.snapshot.text();
    require(std::holds_alternative<SystemSnapshot>(decodeSnapshot(text)), "a snapshot decodes strictly");
    const auto json = nlohmann::json::parse(text);
    for (const auto& ranking : json.at("processes")) {
        require(ranking.size() <= 10, "a ranking has ten entries at most");
        for (const auto& entry : ranking) {
            require(
                entry.at("pid").is_number_integer() && entry.at("name").is_string() && entry.at("value").is_number(),
                "an entry of a ranking is whole");
        }
    }
    const std::string report = DiagnosticsCollector(helper.controller, helper.platform).collect(false);
    require(decodedModel(report) == report, "a report is UTF-8");
}

}  // namespace zqm
