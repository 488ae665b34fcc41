#include <gtest/gtest.h>
#include <stdlib.h>

#include <algorithm>
#include <array>
#include <map>

#include "Platform/Linux/LinuxMachine.h"
#include "ZQMHelper/Shared/DiagnosticsCollector.h"
#include "ZQMHelper/SourcesReport.h"
#include "tests/fakes/EngineSamples.h"
#include "tests/fakes/Golden.h"
#include "tests/fakes/TreeText.h"
#include "tests/fakes/WholeHelper.h"
#include "tests/fakes/mac/MacDouble.h"

// What the helper says of whole machines: described ones (machines/), directly and through the libraries of a Mac's
// system, and Linux ones (tests/machines/, whose form TreeText.h explains). Either the figures that a machine's text
// gives must come out, or the whole snapshot and what
// --sources prints are those that a person has reviewed (tests/golden/). After an intended change rewrite the latter
// with ZQM_UPDATE_GOLDEN=1 and look at what moved.

namespace zqm {
namespace {

namespace fs = std::filesystem;
using nlohmann::ordered_json;

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

/// The snapshot, one member a line, and then, since it takes a second more, where each figure comes from.
std::array<std::pair<std::string, std::string>, 2> looksOf(WholeHelper& helper) {
    auto snapshot = ordered_json::parse(helper.snapshot.text());
    roundNumbers(snapshot);
    return {std::pair(".json", snapshot.dump(4) + "\n"), std::pair(".sources", sourcesReport(helper.platform))};
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

/// What it looks like after two ticks, by the ending of the file that has it.
std::map<std::string, std::string> looksOf(Machine& machine, FakePlatform& process) {
    WholeHelper helper(machine, process);
    helper.start();
    process.loop.runFor(Seconds(2));
    std::map<std::string, std::string> looks;
    looks[".txt"] = DiagnosticsCollector(helper.controller, helper.platform).collect(false) + "\n";
    for (auto& [ending, text] : looksOf(helper)) looks[ending] = text;
    return looks;
}

std::map<std::string, std::string> looksOnMac(Machine& described, FakePlatform& process) {
    MacDouble mac(described, process.clock);
    mac.addTables(std::ifstream(fs::path(ZQM_TEST_DATA) / "fakes/mac/kernel-tables.txt"));
    auto looks = looksOf(mac, process);
    ordered_json details = detailsOf(*mac.details());
    roundNumbers(details);
    looks[".details"] = details.dump(4) + "\n";
    return looks;
}

TEST_P(GoldenMachine, LooksAsReviewed) {
    FakePlatform process;
    const auto machine =
        machineOf(DescribedMachine::load(fs::path(ZQM_MACHINES) / (GetParam() + ".json"), process.clock));
    for (const auto& [ending, text] : looksOf(*machine, process)) expectGolden(GetParam() + ending, text);
    EXPECT_EQ(machine->liveHandles(), 0u);
}

/// Through the system's libraries it looks the same, but where the backend mends what readers do not know: there are
/// files for that, which differ in nothing else.
TEST_P(GoldenMachine, LooksTheSameOnAMac) {
    FakePlatform process;
    const auto machine =
        machineOf(DescribedMachine::load(fs::path(ZQM_MACHINES) / (GetParam() + ".json"), process.clock));
    for (const auto& [ending, text] : looksOnMac(*machine, process)) {
        const std::string mended = GetParam() + "-on-mac" + ending;
        const bool isMended = fs::exists(fs::path(ZQM_TEST_DATA) / "golden" / mended);
        if (isMended || ending != ".sources") expectGolden(isMended ? mended : GetParam() + ending, text);
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
        if (figures > 0) continue;
        for (const auto& [ending, text] : looksOf(helper)) expectGolden("linux-" + GetParam() + ending, text);
    }
}
INSTANTIATE_TEST_SUITE_P(Golden, LinuxMachines, namesIn(fs::path(ZQM_TEST_DATA) / "machines"), nameOf);

}  // namespace
}  // namespace zqm
