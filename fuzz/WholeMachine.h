#pragma once

#include <cmath>
#include <nlohmann/json.hpp>

#include "ZQMHelper/SensorSnapshot.h"
#include "ZQMHelper/Shared/DiagnosticsCollector.h"
#include "ZQMHelper/Shared/MetricsJson.h"
#include "fuzz/Fuzzing.h"
#include "fuzz/Utf8Model.h"
#include "tests/fakes/MachinePlatform.h"

namespace zqm {

/// Lets the helper's samplers run on `machine` for three seconds of virtual time, `change` being called after the
/// first, and checks what they would send.
inline void checkSamples(Machine& machine, FakePlatform& fakes, const std::function<void()>& change) {
    Platform platform = platformOn(machine, fakes);
    const auto controller = std::make_shared<SMCBridge>(platform);
    const auto processes = std::make_shared<ProcessReader>(platform);
    const auto engine =
        std::make_shared<MonitorEngine>(std::make_shared<SettingsStore>(platform), controller, platform);
    SensorSnapshot snapshot(platform);
    snapshot.setProcessReader(processes);
    snapshot.setEngine(engine);
    processes->start();
    engine->start();
    fakes.loop.runFor(Seconds(1));
    change();
    fakes.loop.runFor(Seconds(2));
    const std::string text = snapshot.text();
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
    const std::string report = DiagnosticsCollector(controller, platform).collect(false);
    require(decodedModel(report) == report, "a report is UTF-8");
}

}  // namespace zqm
