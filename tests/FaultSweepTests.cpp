#include <gtest/gtest.h>

#include "Platform/Described/DescribedMachine.h"
#include "tests/fakes/EngineSamples.h"
#include "tests/fakes/FaultyMachine.h"

namespace zqm {
namespace {

/// A machine with one of everything that is read.
constexpr std::string_view wholeMachine = R"json({
    "hostStatistics": {"pageSize": 4096,
        "processors": [{"user": {"start": 5, "rate": 25}, "system": 0, "idle": {"start": 5, "rate": 75}, "nice": 0},
                       {"user": 0, "system": 0, "idle": {"start": 5, "rate": 100}, "nice": 0}],
        "virtualMemory": {"active": 1000, "inactive": 500, "speculative": 10, "wired": 512, "compressor": 24,
                          "purgeable": 5, "external": 100}},
    "sysctl": {"hw.memsize": {"integer": 4294967296, "width": 8},
        "kern.memorystatus_vm_pressure_level": {"integer": 2, "width": 4},
        "vm.swapusage": {"bytes": [{"integer": 90, "width": 8}, {"integer": 20, "width": 8}, {"integer": 70, "width": 8},
                                   "00000000 00000000"]}},
    "networkInterfaces": [{"name": "en0", "received": {"start": 7, "rate": 2560}, "sent": {"start": 7, "rate": 31}}],
    "registry": {
        "AppleARMPE": [{"name": "machine", "children": [
            {"name": "cpu0", "properties": {"cluster-type": {"bytes": "45"}}},
            {"name": "cpu1", "properties": {"cluster-type": {"bytes": "50"}}}]}],
        "AppleARMIODevice": [{"name": "device", "properties": {"name": {"bytes": "706d677200"},
            "acc-clusters": {"bytes": "0100000000000000 0502000000000000"},
            "voltage-states1-sram": {"bytes": "0046c32300000000 00e1f50500000000"},
            "voltage-states5-sram": {"bytes": "0046c32300000000 00c2eb0b00000000"},
            "voltage-states9-sram": {"bytes": "0046c32300000000 00e1f50500000000"}}}],
        "IOBlockStorageDriver": [{"name": "drive", "properties": {
            "Statistics": {"Bytes (Read)": {"start": 9, "rate": 4096}, "Bytes (Write)": {"start": 9, "rate": 512}}}}],
        "IOAccelerator": [{"name": "gpu", "properties": {
            "PerformanceStatistics": {"Device Utilization %": 40, "Core Clock(MHz)": 700}}}],
        "AppleSmartBattery": [{"name": "battery", "properties": {"DesignCapacity": 5000, "AppleRawMaxCapacity": 4500,
            "Voltage": 12000, "InstantAmperage": -800, "CycleCount": 77}}],
        "AppleSMCKeysEndpoint": [{"name": "controller", "userClient": {
            "PSTR": {"type": "flt ", "value": 12.5}, "PBwo": {"type": "flt ", "value": 2.5}}}]},
    "ioReport": {"paths": ["/usr/lib/libIOReport.dylib"], "groups": [
        {"group": "CPU Stats", "subgroup": "CPU Complex Performance States", "channels": [
            {"name": "ECPU", "states": [{"name": "IDLE", "residency": {"start": 9, "rate": 500}},
                                        {"name": "V0", "residency": {"start": 1, "rate": 300}},
                                        {"name": "V1", "residency": {"start": 1, "rate": 200}}]}]},
        {"group": "CPU Stats", "subgroup": "CPU Core Performance States", "channels": [
            {"name": "PCPU0", "states": [{"name": "IDLE", "residency": {"start": 9, "rate": 900}},
                                         {"name": "V0", "residency": {"start": 1, "rate": 100}}]}]},
        {"group": "GPU Stats", "subgroup": "GPU Performance States", "channels": [
            {"name": "GPUPH", "states": [{"name": "OFF", "residency": {"start": 9, "rate": 900}},
                                         {"name": "P1", "residency": {"start": 1, "rate": 100}}]}]},
        {"group": "Energy Model", "subgroup": "", "channels": [
            {"name": "CPU Energy", "unit": "mJ", "value": {"start": 50, "rate": 3000}},
            {"name": "GPU Energy", "unit": "uJ", "value": {"start": 50, "rate": 900000}}]}]},
    "powerSources": {"sources": [{"Type": "InternalBattery", "Current Capacity": 80, "Max Capacity": 100,
                                  "Is Charging": true, "Power Source State": "AC Power", "Time to Full Charge": 30}],
                     "adapter": {"Watts": 94}},
    "temperatureSensors": [{"product": "PMU tdie1", "temperature": {"start": 41.5, "rate": 1}},
                           {"product": "GPU MTR Temp", "temperature": 39.5}]})json";

constexpr int sampleCount = 4;  // two with the fault, one whose rates still reach back, one of a whole machine

struct Faulted {
    Snapshots snapshots;
    Members affected;
    unsigned calls = 0;
    unsigned callsOfConstruction = 0;
};

Faulted runWithFault(unsigned nth, bool fromThenOn) {
    FakePlatform fakes;
    FaultPlan plan(nth, fromThenOn);
    auto parsed = DescribedMachine::parse(wholeMachine, fakes.clock);
    auto& described = *std::get<std::unique_ptr<DescribedMachine>>(parsed);
    Faulted run;
    {
        FaultyMachine machine(described, plan);
        run.snapshots = sample(machine, fakes, sampleCount, [&](int taken) {
            if (taken == 0) run.callsOfConstruction = plan.calls;
            if (taken == 2) plan.disarm();
        });
    }
    EXPECT_EQ(plan.liveHandles, 0);
    EXPECT_EQ(described.liveHandles(), 0u);
    run.affected = plan.affected;
    run.calls = plan.calls;
    return run;
}

TEST(FaultSweep, EachPlatformCallMayFail) {
    const Faulted whole = runWithFault(0, false);
    ASSERT_GT(whole.calls, 300u);
    Members changed;
    for (const bool fromThenOn : {false, true}) {
        for (unsigned nth = 1; nth <= whole.calls; ++nth) {
            SCOPED_TRACE("call " + std::to_string(nth) + (fromThenOn ? " and all later ones" : ""));
            const Faulted faulty = runWithFault(nth, fromThenOn);
            for (int i = 0; i < sampleCount; ++i) {
                const Members found = differences(whole.snapshots[i], faulty.snapshots[i]);
                expectWithin(found, faulty.affected);
                changed.insert(found.begin(), found.end());
            }
            // A call that failed while sampling is made again; only the controller is opened once, and a peak is kept.
            if (!fromThenOn && nth > whole.callsOfConstruction) {
                expectWithin(differences(whole.snapshots.back(), faulty.snapshots.back()), {"power", "load"});
            }
        }
    }
    EXPECT_EQ(changed, (Members{"battery", "cpu", "disk", "gpu", "load", "memory", "network", "power"}));
}

}  // namespace
}  // namespace zqm
