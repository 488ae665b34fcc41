#include <gtest/gtest.h>

#include <fstream>
#include <regex>

#include "tests/fakes/EngineSamples.h"

// Every value of a recorded machine fails in turn, as its description may say: each failure costs its own figures
// alone.

namespace zqm {
namespace {

using Json = nlohmann::ordered_json;

/// Which members of the snapshot a description feeds from where.
const Feeding fed{{"/hostStatistics/processors", {"cpu", "load"}},
                  {"/hostStatistics", {"memory"}},
                  {"/sysctl/hw.perflevel", {"cpu"}},
                  {"/sysctl", {"memory"}},
                  {"/networkInterfaces", {"network"}},
                  {"/interfaceAddresses", {"ip"}},
                  {"/systemFacts/proxySettings", {"ip"}},
                  {"/registry/AppleARMPE", {"cpu"}},
                  {"/registry/AppleARMIODevice", {"cpu", "gpu"}},
                  {"/registry/IOBlockStorageDriver", {"disk"}},
                  {"/registry/IOAccelerator", {"gpu", "load"}},
                  {"/registry/AppleSmartBattery", {"battery"}},
                  {"/registry/AppleSMC", {"power"}},
                  {"/ioReport/groups/0", {"cpu", "gpu"}},
                  {"/ioReport/groups/1", {"cpu"}},
                  {"/ioReport/groups/2", {"gpu"}},
                  {"/ioReport/groups/3", {"power", "load"}},
                  {"/ioReport", {"cpu", "gpu", "power", "load"}},
                  {"/powerSources", {"battery"}},
                  {"/temperatureSensors", {"cpu", "gpu"}}};

/// What is asked for once, when the readers are made or first used: its failure lasts.
const std::regex askedOnce("hw[.]|pageSize|AppleARM|AppleSMC|subscriptions|channels$");

/// The samples of this machine; none where the format has no place for the fault in it.
std::optional<Snapshots> samplesOf(const Json& description) {
    FakePlatform fakes;
    auto parsed = DescribedMachine::parse(description.dump(), fakes.clock);
    auto* machine = std::get_if<std::unique_ptr<DescribedMachine>>(&parsed);
    if (!machine) return std::nullopt;
    auto snapshots = sample(**machine, fakes, 4, [](int) {});
    EXPECT_EQ((*machine)->liveHandles(), 0u);
    return snapshots;
}

/// Of long arrays the first elements tell enough.
void shorten(Json& node) {
    if (node.is_array() && node.size() > 4) node.erase(node.begin() + 4, node.end());
    if (!node.is_structured()) return;
    for (Json& child : node) shorten(child);
}

struct FaultSweep : testing::Test {
    /// Lets `node`, which stands at `place`, fail at its first or second reading, alone or with all later ones, and
    /// then what stands in it.
    void fail(Json& node, const std::string& place) {
        const Json value = node;
        if (node.is_object() && node.contains("list")) return;
        for (const Json& readings : {Json::array({nullptr, value}), Json::array({value, nullptr, value}),
                                     Json::array({nullptr}), Json::array({value, nullptr})}) {
            if (place.empty() || place.ends_with("/properties")) break;
            node = {{"list", readings}};
            SCOPED_TRACE(place + " as " + node.dump());
            if (const auto faulty = samplesOf(description)) compare(*faulty, place, !readings.back().is_null());
        }
        node = value;
        if (!node.is_structured()) return;
        for (const auto& [key, child] : node.items()) fail(child, place + "/" + key);
    }
    void compare(const Snapshots& faulty, const std::string& place, bool isOver) {
        ++faults;
        for (std::size_t i = 0; i < whole.size(); ++i) {
            const Members found = differences(whole[i], faulty[i]);
            expectWithin(found, fedBy(fed, place));
            changed.insert(found.begin(), found.end());
        }
        if (!isOver || std::regex_search(place, askedOnce)) return;
        expectWithin(differences(whole.back(), faulty.back()), {"load"});  // which keeps the peak
    }

    Json description = Json::parse(std::ifstream(ZQM_MACHINES "/laptop-efficiency-performance.json"));
    Snapshots whole;
    Members changed;
    int faults = 0;
};

TEST_F(FaultSweep, EachValueOfAMachineMayFail) {
    shorten(description);
    for (const char* call : {"subscriptions", "samples", "deltas"}) description["ioReport"][call] = true;
    whole = samplesOf(description).value();
    fail(description, "");
    EXPECT_GT(faults, 900);
    EXPECT_EQ(changed, (Members{"battery", "cpu", "disk", "gpu", "ip", "load", "memory", "network", "power"}));
}

}  // namespace
}  // namespace zqm
