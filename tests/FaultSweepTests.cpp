#include <gtest/gtest.h>

#include <fstream>
#include <regex>

#include "Platform/Machine/SourceReport.h"
#include "Platform/Machine/SystemFacts.h"
#include "Platform/Machine/TaskCounters.h"
#include "tests/fakes/EngineSamples.h"
#include "tests/fakes/mac/MacDouble.h"

// Every value of a recorded machine fails in turn, as its description may say, and so does every function of a Mac's
// libraries: each failure costs its own figures alone, and nothing is kept that was to be given back.

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

/// What no sample asks for.
void askTheRest(const MachineServices& mac) {
    for (const MetricFamily family : allCases<MetricFamily>()) {
        EXPECT_FALSE(mac.sourceReport.describe(family).place.empty());
    }
    if (const auto process = mac.taskCounters.taskName(901)) process->power();
    mac.taskCounters.disk(901);
    mac.systemFacts.bundleText("CFBundleVersion");
    EXPECT_NE(mac.systemFacts.systemVersion(), "");
}

using Prepare = std::function<void(MacDouble&)>;

/// The samples of this machine, as described or through a Mac's libraries, which `prepare` may spoil; none where the
/// format has no place for the fault in it.
std::optional<Snapshots> samplesOf(const Json& description, bool isOnMac = false, const Prepare& prepare = nullptr) {
    FakePlatform fakes;
    auto parsed = DescribedMachine::parse(description.dump(), fakes.clock);
    auto* machine = std::get_if<std::unique_ptr<DescribedMachine>>(&parsed);
    if (!machine) return std::nullopt;
    std::optional<MacDouble> mac;
    if (isOnMac) mac.emplace(**machine, fakes.clock, prepare);
    auto snapshots = sample(mac ? *mac : static_cast<Machine&>(**machine), fakes, 4, [](int) {});
    if (mac) askTheRest(mac->services());
    mac.reset();
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
            for (const bool isOnMac : {false, true}) {
                const auto faulty = samplesOf(description, isOnMac);
                if (faulty) compare(*faulty, fedBy(fed, place), !readings.back().is_null() && !asked(place));
            }
        }
        node = value;
        if (!node.is_structured()) return;
        for (const auto& [key, child] : node.items()) fail(child, place + "/" + key);
    }
    static bool asked(const std::string& place) { return std::regex_search(place, askedOnce); }
    void compare(const Snapshots& faulty, const Members& allowed, bool isOver) {
        ++faults;
        for (std::size_t i = 0; i < whole.size(); ++i) {
            const Members found = differences(whole[i], faulty[i]);
            expectWithin(found, allowed);
            changed.insert(found.begin(), found.end());
        }
        if (isOver) expectWithin(differences(whole.back(), faulty.back()), {"load"});  // which keeps the peak
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
    EXPECT_GT(faults, 1800);
    EXPECT_EQ(changed, (Members{"battery", "cpu", "disk", "gpu", "ip", "load", "memory", "network", "power"}));
}

/// What functions of a Mac's libraries feed; none of them makes a sample wait, fail or say more than it knows.
const Feeding fedByCall{
    {"CFNetwork", {"ip"}},
    {"CFBundle", {}},
    {"CF", {"battery", "cpu", "disk", "gpu", "ip", "load", "power"}},
    {"kCF", {"battery", "cpu", "disk", "gpu", "ip", "load", "power"}},
    {"IOReport", {"cpu", "gpu", "load", "power"}},
    {"IOPS", {"battery"}},
    {"IOHID", {"cpu", "gpu"}},
    {"IOServiceOpen", {"power"}},
    {"IOServiceClose", {"power"}},
    {"IOConnect", {"power"}},
    {"IO", {"battery", "cpu", "disk", "gpu", "load", "power"}},
    {"mach_", {"cpu", "load", "memory", "power"}},
    {"host_processor_info", {"cpu", "load"}},
    {"host_", {"memory"}},
    {"vm_", {"cpu", "load"}},
    {"sysctlbyname", {"cpu", "memory"}},
    {"sysctl", {"network"}},
    {"getifaddrs", {"ip"}},
    {"freeifaddrs", {"ip"}},
    {"/usr/lib/libIOReport", {"cpu", "gpu", "load", "power"}},
    {"/usr/lib/libSystem", {"cpu", "ip", "load", "memory", "network", "power"}},
    {"/System/Library/Frameworks/CFNetwork", {"ip"}},
    {"/System/Library/Frameworks/", {"battery", "cpu", "disk", "gpu", "ip", "load", "power"}},
};
const std::regex askedAlways("^(IOPS|IOHID|IOReportCreateSamples|host_(proc|stat)|getif|CFNetwork)");

TEST(MacTaskCounters, TellNoEnergyOfProcessorsThatCountNone) {
    DescribedPlatform described(R"({"processes": {"7": {"energy": 5000, "bytesRead": 1, "bytesWritten": 2}}})");
    for (const bool isIntel : {false, true}) {
        MacDouble mac(*described.machine, described.process.clock,
                      [&](MacDouble& libraries) { libraries.isIntel = isIntel; });
        EXPECT_EQ(mac.services().taskCounters.taskName(7)->power()->energy, isIntel ? 0u : 5000u);
    }
}

TEST_F(FaultSweep, EachFunctionOfAMacMayFail) {
    shorten(description);
    whole = samplesOf(description).value();
    for (const std::string& symbol : MacDouble::symbols()) {
        const auto expect = [&](const char* what, bool isOver, const Prepare& prepare) {
            SCOPED_TRACE(symbol + " " + what);
            compare(samplesOf(description, true, prepare).value(), fedBy(fedByCall, symbol), isOver);
        };
        expect("is missing", false, [&](MacDouble& mac) { mac.missing.insert(symbol); });
        expect("fails", false,
               [&](MacDouble& mac) { mac.failing = [&](std::string_view called) { return called == symbol; }; });
        for (const int time : {1, 2}) {
            expect("fails once", std::regex_search(symbol, askedAlways), [&](MacDouble& mac) {
                mac.failing = [&, left = time](std::string_view called) mutable {
                    return called == symbol && --left == 0;
                };
            });
        }
    }
    EXPECT_EQ(changed, (Members{"battery", "cpu", "disk", "gpu", "ip", "load", "memory", "network", "power"}));
}

}  // namespace
}  // namespace zqm
