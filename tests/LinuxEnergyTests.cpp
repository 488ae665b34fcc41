#include <gtest/gtest.h>

#include "ZQMHelper/Shared/PowerReader.h"
#include "tests/fakes/TreeMachine.h"

namespace zqm {
namespace {

const std::string zones = "sys/class/powercap/";

struct EnergyMachine : TreeMachine {
    void zone(const std::string& directory, const char* name, const std::string& microjoules,
              const std::string& range = "262143328850") {
        tree.write(zones + directory + "/name", std::string(name) + "\n");
        tree.write(zones + directory + "/max_energy_range_uj", range + "\n");
        set(directory, microjoules);
    }
    void set(const std::string& directory, const std::string& microjoules) {
        tree.write(zones + directory + "/energy_uj", microjoules + "\n");
    }
    PowerMetrics sampleAfter(PowerReader& reader, double seconds) {
        fakes.clock.advance(Seconds(seconds));
        return reader.sample();
    }
};

TEST(LinuxEnergy, PackagesAreDividedAndNotCountedTwice) {
    EnergyMachine machine;
    machine.zone("intel-rapl:0", "package-0", "5000000");
    machine.zone("intel-rapl:0:0", "core", "1000000");
    machine.zone("intel-rapl:0:1", "uncore", "2000000");
    machine.zone("intel-rapl:0:2", "dram", "3000000");
    machine.zone("intel-rapl:1", "package-1", "7000000");
    machine.zone("intel-rapl:2", "psys", "9000000");
    machine.zone("intel-rapl-mmio:0", "package-0", "5000000");
    PowerReader reader(std::make_shared<SMCBridge>(machine.platform), machine.platform);
    EXPECT_EQ(reader.sample().totalWatts, 0);
    machine.sampleAfter(reader, 1);             // the whole machine's counter is first read here
    machine.set("intel-rapl:0", "35000000");    // +30 J
    machine.set("intel-rapl:0:0", "21000000");  // +20 J, inside
    machine.set("intel-rapl:0:1", "8000000");   // +6 J, inside
    machine.set("intel-rapl:0:2", "7000000");   // +4 J
    machine.set("intel-rapl:1", "17000000");    // +10 J
    machine.set("intel-rapl:2", "69000000");    // +60 J
    machine.set("intel-rapl-mmio:0", "35000000");
    const PowerMetrics power = machine.sampleAfter(reader, 2);
    EXPECT_DOUBLE_EQ(power.cpuWatts, (24 + 10) / 2.0);
    EXPECT_DOUBLE_EQ(power.gpuWatts, 3);
    EXPECT_DOUBLE_EQ(power.dramWatts, 2);
    EXPECT_DOUBLE_EQ(power.totalWatts, 22);
    EXPECT_DOUBLE_EQ(power.systemWatts, 30);
}

TEST(LinuxEnergy, CountersWrapAndStartAnew) {
    const struct {
        const char *before, *after;
        double watts;
        const char* what;
    } rows[] = {
        {"1000000", "3500000", 2.5, "growth"},
        {"262143000000", "1671150", 2, "past its range: 328850 to the end and 1671150 more"},
        {"200000000000", "1000000", 0, "set back to 0 by a sleep: no power explains 62 kJ in a second"},
        {"1000000", "262143328851", 0, "beyond its range"},
        {"1000000", "-5", 0, "absurd"},
        {"1000000", "", 0, "empty"},
    };
    for (const auto& [before, after, watts, what] : rows) {
        EnergyMachine machine;
        machine.zone("intel-rapl:a", "package-10", before);
        PowerReader reader(std::make_shared<SMCBridge>(machine.platform), machine.platform);
        reader.sample();
        machine.set("intel-rapl:a", after);
        EXPECT_DOUBLE_EQ(machine.sampleAfter(reader, 1).cpuWatts, watts) << what;
        machine.set("intel-rapl:a", before);
        machine.sampleAfter(reader, 1);
        machine.set("intel-rapl:a", before);
        EXPECT_DOUBLE_EQ(machine.sampleAfter(reader, 1).cpuWatts, 0) << "afterwards: " << what;
    }
}

TEST(LinuxEnergy, WithoutPermissionTheSystemsPowerStillComesFromTheBattery) {
    EnergyMachine machine;
    machine.write("sys/class/power_supply/BAT0", {{"type", "Battery"},
                                                  {"uevent",
                                                   "POWER_SUPPLY_STATUS=Discharging\n"
                                                   "POWER_SUPPLY_POWER_NOW=10618000"}});
    const auto smc = std::make_shared<SMCBridge>(machine.platform);
    PowerReader reader(smc, machine.platform);
    reader.sample();
    machine.zone("intel-rapl:0", "package-0", "5000000");  // what cannot be read at the start is not tried again
    machine.sampleAfter(reader, 1);
    machine.set("intel-rapl:0", "9000000");
    const PowerMetrics power = machine.sampleAfter(reader, 1);
    EXPECT_EQ(power.totalWatts, 0);
    EXPECT_NEAR(power.systemWatts, 10.618, 1e-6);
    EXPECT_EQ(power.displayWatts, 0);
    EXPECT_EQ(smc->SMCPowerRead("PDBR"), -1);
    machine.tree.write("sys/class/power_supply/BAT0/uevent",
                       "POWER_SUPPLY_STATUS=Charging\nPOWER_SUPPLY_POWER_NOW=10618000\n");
    EXPECT_EQ(machine.sampleAfter(reader, 1).systemWatts, 0) << "what flows in is not what the machine uses";
}

TEST(LinuxEnergy, AMachineWithoutSourcesHasNoController) {
    TreeMachine machine;
    EXPECT_FALSE(SMCBridge(machine.platform).SMCPowerAvailable());
}

}  // namespace
}  // namespace zqm
