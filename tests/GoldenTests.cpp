#include <gtest/gtest.h>
#include <stdlib.h>

#include <algorithm>
#include <fstream>
#include <sstream>

#include "Platform/Linux/LinuxMachine.h"
#include "ZQMHelper/Shared/DiagnosticsCollector.h"
#include "ZQMHelper/SourcesReport.h"
#include "tests/fakes/EngineSamples.h"
#include "tests/fakes/TreeText.h"
#include "tests/fakes/WholeHelper.h"

// What the helper says of whole machines: described ones (machines/) and Linux ones (tests/machines/, whose form
// TreeText.h explains). Either the figures that a machine's text gives must come out, or the whole snapshot and what
// --sources prints are those that a person has reviewed (tests/golden/). After an intended change rewrite the latter
// with ZQM_UPDATE_GOLDEN=1 and look at what moved.

namespace zqm {
namespace {

namespace fs = std::filesystem;
using nlohmann::ordered_json;

std::string contentOf(const fs::path& file) {
    std::ostringstream content;
    content << std::ifstream(file, std::ios::binary).rdbuf();
    return content.str();
}

/// Twelve significant digits: figures that a person can check, the same on every processor.
void roundNumbers(ordered_json& value) {
    if (value.is_structured()) {
        for (auto& member : value) roundNumbers(member);
    } else if (value.is_number_float()) {
        char digits[32];
        std::snprintf(digits, sizeof digits, "%.12g", value.get<double>());
        value = std::strtod(digits, nullptr);
    }
}

void expectGolden(const std::string& name, const std::string& actual) {
    const fs::path file = fs::path(ZQM_TEST_DATA) / "golden" / name;
    if (std::getenv("ZQM_UPDATE_GOLDEN")) std::ofstream(file, std::ios::binary) << actual;
    EXPECT_EQ(actual, contentOf(file)) << "see CONTRIBUTING.md, Golden snapshots";
}

/// The snapshot, one member a line, and then, since it takes a second more, where each figure comes from.
void expectGolden(const std::string& name, WholeHelper& helper) {
    auto snapshot = ordered_json::parse(helper.snapshot.text());
    roundNumbers(snapshot);
    expectGolden(name + ".json", snapshot.dump(4) + "\n");
    expectGolden(name + ".sources", sourcesReport(helper.platform));
}

void expectFigures(const std::vector<TreeText::Figure>& figures, const std::string& snapshot) {
    const auto said = nlohmann::json::parse(snapshot);
    for (const auto& [path, text] : figures) {
        std::string steps = "/" + path;
        std::replace(steps.begin(), steps.end(), '.', '/');
        const nlohmann::json::json_pointer place(steps);
        auto expected = nlohmann::json::parse(text, nullptr, false);
        if (expected.is_discarded()) expected = text;
        const nlohmann::json actual = said.contains(place) ? said.at(place) : nlohmann::json("is not there");
        EXPECT_TRUE(isAlike(actual, expected)) << path << " is " << actual << ", not " << expected;
    }
}

/// What the files in a folder are called, without their ending.
auto namesIn(const fs::path& folder) {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(folder)) names.push_back(entry.path().stem());
    return testing::ValuesIn(names);
}

constexpr auto nameOf = [](const auto& machine) {
    std::string name = machine.param;
    std::replace(name.begin(), name.end(), '-', '_');
    return name;
};

struct GoldenMachine : testing::TestWithParam<std::string> {};

TEST_P(GoldenMachine, LooksAsReviewed) {
    FakePlatform process;
    const auto machine =
        machineOf(DescribedMachine::load(fs::path(ZQM_MACHINES) / (GetParam() + ".json"), process.clock));
    {
        WholeHelper helper(*machine, process);
        helper.start();
        process.loop.runFor(Seconds(2));
        expectGolden(GetParam() + ".txt",
                     DiagnosticsCollector(helper.controller, helper.platform).collect(false) + "\n");
        expectGolden(GetParam(), helper);
    }
    EXPECT_EQ(machine->liveHandles(), 0u);
}
INSTANTIATE_TEST_SUITE_P(Golden, GoldenMachine, namesIn(ZQM_MACHINES), nameOf);

struct LinuxMachines : testing::TestWithParam<std::string> {
    LinuxMachines() { ::setenv("XDG_CONFIG_HOME", "/etc/user", 1); }
};

TEST_P(LinuxMachines, ShowTheirFigures) {
    for (const auto& [name, moments] :
         parseTrees(contentOf(fs::path(ZQM_TEST_DATA) / "machines" / (GetParam() + ".txt")))) {
        SCOPED_TRACE(name);
        const TemporaryTree tree;
        writeFiles(tree, moments.front().files);
        FakePlatform process;
        process.clock.wallTime = WallTime(Seconds(1763327051));  // samples are taken on whole seconds
        LinuxMachine machine(tree.root(), process.clock);
        WholeHelper helper(machine, process);
        helper.start();
        process.loop.runFor(Seconds(0.25));  // to look at what a sample says after it was taken
        std::size_t figures = 0;
        for (const auto& moment : moments) {
            writeFiles(tree, moment.files);
            process.loop.runFor(Seconds(moment.seconds));
            expectFigures(moment.figures, helper.snapshot.text());
            figures += moment.figures.size();
        }
        if (figures == 0) expectGolden("linux-" + GetParam(), helper);
    }
}
INSTANTIATE_TEST_SUITE_P(Golden, LinuxMachines, namesIn(fs::path(ZQM_TEST_DATA) / "machines"), nameOf);

}  // namespace
}  // namespace zqm
