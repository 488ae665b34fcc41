#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <fstream>
#include <nlohmann/json.hpp>
#include <ostream>
#include <sstream>

#include "ZQMHelper/Shared/DiagnosticsCollector.h"
#include "ZQMHelper/Shared/MonitorEngine.h"
#include "tests/fakes/MachinePlatform.h"

// The whole snapshot and the diagnostics report of whole machines, compared with texts that a person has reviewed.
// After an intended change rewrite them with ZQM_UPDATE_GOLDEN=1 and look at what moved.

namespace zqm {
namespace {

namespace fs = std::filesystem;

std::string contentOf(const fs::path& file) {
    std::ostringstream content;
    content << std::ifstream(file, std::ios::binary).rdbuf();
    return content.str();
}

/// Twelve significant digits: figures that a person can check, the same on every processor.
void roundNumbers(nlohmann::ordered_json& value) {
    if (value.is_structured()) {
        for (auto& member : value) roundNumbers(member);
    } else if (value.is_number_float()) {
        char digits[32];
        std::snprintf(digits, sizeof digits, "%.12g", value.get<double>());
        value = std::strtod(digits, nullptr);
    }
}

/// One member a line, as the files are kept.
std::string pretty(std::string_view snapshot) {
    auto value = nlohmann::ordered_json::parse(snapshot);
    roundNumbers(value);
    return value.dump(4) + "\n";
}

/// The snapshot after two ticks, one second apart.
std::string secondSnapshot(Machine& machine, FakePlatform& process) {
    Platform platform = platformOn(machine, process);
    const ScopedPlatform current(platform);
    process.userDefaults.numbers["updateInterval"] = 1;
    const auto engine =
        std::make_shared<MonitorEngine>(std::make_shared<SettingsStore>(), std::make_shared<SMCBridge>());
    engine->start();
    process.loop.runFor(Seconds(2));
    return pretty(engine->snapshotJSON());
}

/// The diagnostics report at that time.
std::string report(Machine& machine, FakePlatform& process) {
    Platform platform = platformOn(machine, process);
    return DiagnosticsCollector(std::make_shared<SMCBridge>(platform), platform).collect(false) + "\n";
}

void expectGolden(const std::string& name, const std::string& actual) {
    const fs::path file = fs::path(ZQM_TEST_DATA) / "golden" / name;
    if (std::getenv("ZQM_UPDATE_GOLDEN")) std::ofstream(file, std::ios::binary) << actual;
    EXPECT_EQ(actual, contentOf(file)) << "see CONTRIBUTING.md, Golden snapshots";
}

struct Case {
    fs::path path;
    std::string testName() const {
        std::string name = path.stem();
        std::replace(name.begin(), name.end(), '-', '_');
        return name;
    }
    friend void PrintTo(const Case& printed, std::ostream* out) { *out << printed.path.filename(); }
};

std::vector<Case> casesIn(const fs::path& folder) {
    std::vector<Case> cases;
    for (const auto& entry : fs::directory_iterator(folder)) cases.push_back({entry.path()});
    return cases;
}

constexpr auto nameOf = [](const auto& parameter) { return parameter.param.testName(); };

struct GoldenMachine : testing::TestWithParam<Case> {};

TEST_P(GoldenMachine, LooksAsReviewed) {
    FakePlatform process;
    const auto machine = machineOf(DescribedMachine::load(GetParam().path, process.clock));
    const std::string name = GetParam().path.stem();
    expectGolden(name + ".json", secondSnapshot(*machine, process));
    expectGolden(name + ".txt", report(*machine, process));
    EXPECT_EQ(machine->liveHandles(), 0u);
}
INSTANTIATE_TEST_SUITE_P(Golden, GoldenMachine, testing::ValuesIn(casesIn(ZQM_MACHINES)), nameOf);

struct GoldenTree : testing::TestWithParam<Case> {};

TEST_P(GoldenTree, LooksAsReviewed) {
    FakePlatform process;
    const auto machine = makeNativeMachine(GetParam().path.native());
    expectGolden(GetParam().path.stem().string() + ".json", secondSnapshot(*machine, process));
}
INSTANTIATE_TEST_SUITE_P(Golden, GoldenTree, testing::ValuesIn(casesIn(fs::path(ZQM_TEST_DATA) / "trees")), nameOf);

}  // namespace
}  // namespace zqm
