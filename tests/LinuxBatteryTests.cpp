#include <gtest/gtest.h>

#include <cmath>

#include "ZQMHelper/Shared/BatteryReader.h"
#include "ZQMHelper/Shared/FrequencyReader.h"
#include "ZQMHelper/Shared/GPUReader.h"
#include "ZQMHelper/Shared/PowerReader.h"
#include "ZQMHelper/Shared/TemperatureReader.h"
#include "tests/fakes/TreeMachine.h"

namespace zqm {
namespace {

const std::string supplies = "sys/class/power_supply/";

/// A supply with its properties "STATUS=Full CAPACITY=100 …", as the kernel prints them.
void writeSupply(const TreeMachine& machine, const std::string& name, const std::string& type, std::string properties) {
    std::string lines;
    while (!properties.empty()) {
        const auto end = std::min(properties.find(' '), properties.size());
        lines += "POWER_SUPPLY_" + properties.substr(0, end) + "\n";
        properties.erase(0, end + 1);
    }
    machine.tree.write(supplies + name + "/type", type + "\n");
    machine.tree.write(supplies + name + "/uevent", lines);
}

const std::string discharging =
    "STATUS=Discharging ENERGY_NOW=61850000 ENERGY_FULL=84720000 ENERGY_FULL_DESIGN=80000000 POWER_NOW=10618000 "
    "VOLTAGE_NOW=16137000 CYCLE_COUNT=13 CAPACITY=73";
const std::string charging =
    "STATUS=Charging CHARGE_NOW=501000 CHARGE_FULL=1802000 CHARGE_FULL_DESIGN=5600000 CURRENT_NOW=2977000 "
    "VOLTAGE_NOW=12796000 CYCLE_COUNT=0 CAPACITY=27";

TEST(LinuxBattery, OneBattery) {
    const struct {
        const char* what;
        std::string properties;
        BatteryMetrics expected;
    } rows[] = {
        {"energies",
         discharging,
         {.isPresent = true,
          .level = 0.73005,
          .health = 1.059,
          .cycleCount = 13,
          .maxCapacityWh = 84.72,
          .designCapacityWh = 80,
          .powerWatts = 10.618,
          .timeRemainingMinutes = 350}},
        {"charges, worn to a third",
         charging,
         {.isPresent = true,
          .isCharging = true,
          .onACPower = true,
          .level = 0.27802,
          .health = 0.32179,
          .maxCapacityWh = 23.058392,
          .designCapacityWh = 71.6576,
          .powerWatts = 38.093692,
          .timeRemainingMinutes = 26}},
        {"a negative current",
         "STATUS=Discharging CHARGE_NOW=1000000 CHARGE_FULL=2000000 CURRENT_NOW=-500000 VOLTAGE_NOW=10000000",
         {.isPresent = true, .level = 0.5, .maxCapacityWh = 20, .powerWatts = 5, .timeRemainingMinutes = 120}},
        {"the current is gone",
         "STATUS=Discharging CHARGE_NOW=1000000 CHARGE_FULL=2000000 VOLTAGE_NOW=10000000",
         {.isPresent = true, .level = 0.5, .maxCapacityWh = 20, .timeRemainingMinutes = -1}},
        {"full with a current",
         "STATUS=Full CHARGE_NOW=3558000 CHARGE_FULL=3558000 CHARGE_FULL_DESIGN=4240000 CURRENT_NOW=413000 "
         "VOLTAGE_NOW=12867000",
         {.isPresent = true,
          .onACPower = true,
          .level = 1,
          .health = 0.83915,
          .maxCapacityWh = 45.780786,
          .designCapacityWh = 54.55608,
          .powerWatts = 5.314071,
          .timeRemainingMinutes = -1}},
        {"unknown and full: a trickle is no forecast",
         "STATUS=Unknown CHARGE_NOW=3328000 CHARGE_FULL=3328000 CURRENT_NOW=1000 VOLTAGE_NOW=12439000",
         {.isPresent = true,
          .level = 1,
          .maxCapacityWh = 41.396992,
          .powerWatts = 0.012439,
          .timeRemainingMinutes = -1}},
        {"unknown and empty",
         "STATUS=Unknown ENERGY_NOW=0 ENERGY_FULL=30380000 ENERGY_FULL_DESIGN=31320000 POWER_NOW=0 "
         "VOLTAGE_NOW=10532000",
         {.isPresent = true,
          .level = 0,
          .health = 0.96999,
          .maxCapacityWh = 30.38,
          .designCapacityWh = 31.32,
          .timeRemainingMinutes = -1}},
        {"only a percentage, of more than all",
         "CAPACITY=103",
         {.isPresent = true, .level = 1, .timeRemainingMinutes = -1}},
        {"no voltage",
         "STATUS=Full ENERGY_NOW=40000000 ENERGY_FULL=50000000 CYCLE_COUNT=-1",
         {.isPresent = true, .onACPower = true, .level = 0.8, .maxCapacityWh = 50, .timeRemainingMinutes = -1}},
        {"charges without a voltage",
         "STATUS=Full CHARGE_FULL=4500000 CHARGE_FULL_DESIGN=5000000 CAPACITY=90",
         {.isPresent = true, .onACPower = true, .level = 0.9, .health = 0.9, .timeRemainingMinutes = -1}},
        {"an empty slot", "PRESENT=0 STATUS=Unknown CAPACITY=0", {.timeRemainingMinutes = -1}},
    };
    for (const auto& [what, properties, expected] : rows) {
        TreeMachine machine;
        writeSupply(machine, "BATC", "Battery", properties);
        const BatteryMetrics battery = BatteryReader(machine.platform).sample();
        EXPECT_EQ(battery.isPresent, expected.isPresent) << what;
        EXPECT_EQ(battery.isCharging, expected.isCharging) << what;
        EXPECT_EQ(battery.onACPower, expected.onACPower) << what;
        EXPECT_NEAR(battery.level, expected.level, 1e-5) << what;
        EXPECT_NEAR(battery.health, expected.health, 1e-5) << what;
        EXPECT_EQ(battery.cycleCount, expected.cycleCount) << what;
        EXPECT_NEAR(battery.maxCapacityWh, expected.maxCapacityWh, 1e-9) << what;
        EXPECT_NEAR(battery.designCapacityWh, expected.designCapacityWh, 1e-9) << what;
        EXPECT_NEAR(battery.powerWatts, expected.powerWatts, 1e-9) << what;
        EXPECT_EQ(battery.timeRemainingMinutes, expected.timeRemainingMinutes) << what;
    }
}

TEST(LinuxBattery, SeveralActAsOneAndDevicesDoNot) {
    TreeMachine machine;
    writeSupply(machine, "BAT0", "Battery",
                "STATUS=Unknown ENERGY_NOW=20000000 ENERGY_FULL=20000000 ENERGY_FULL_DESIGN=25000000 POWER_NOW=0 "
                "VOLTAGE_NOW=12000000 CYCLE_COUNT=5");
    writeSupply(machine, "BAT1", "Battery",
                "STATUS=Discharging ENERGY_NOW=10000000 ENERGY_FULL=40000000 ENERGY_FULL_DESIGN=50000000 "
                "POWER_NOW=15000000 VOLTAGE_NOW=11000000 CYCLE_COUNT=90");
    writeSupply(machine, "hidpp_battery_0", "Battery", "STATUS=Discharging CAPACITY=5");
    machine.tree.write(supplies + "hidpp_battery_0/scope", "Device\n");
    BatteryReader reader(machine.platform);
    const BatteryMetrics battery = reader.sample();
    EXPECT_DOUBLE_EQ(battery.level, 0.5);
    EXPECT_DOUBLE_EQ(battery.health, 0.8);
    EXPECT_NEAR(battery.maxCapacityWh, 60, 1e-9);
    EXPECT_NEAR(battery.powerWatts, 15, 1e-9);
    EXPECT_EQ(battery.cycleCount, 90);
    EXPECT_EQ(battery.timeRemainingMinutes, 120);  // 30 Wh at 15 W
    machine.tree.remove(supplies + "BAT0");
    machine.fakes.clock.advance(Seconds(1));
    EXPECT_DOUBLE_EQ(reader.sample().level, 0.25);
    machine.tree.remove(supplies + "BAT1");
    machine.fakes.clock.advance(Seconds(1));
    EXPECT_FALSE(reader.sample().isPresent);
}

TEST(LinuxBattery, AdaptersDecideWhereThePowerComesFrom) {
    const struct {
        const char *battery, *mains, *usb;
        bool onACPower;
        double adapterWatts;
    } rows[] = {
        {"STATUS=Discharging", "ONLINE=1", "ONLINE=0", true, 0},
        {"STATUS=Full", "ONLINE=0", "ONLINE=0", false, 0},
        {"STATUS=Not", "ONLINE=0", "ONLINE=1 VOLTAGE_MAX=20000000 CURRENT_MAX=3250000", true, 65},
        {"STATUS=Unknown", "ONLINE=0", "ONLINE=0 VOLTAGE_MAX=20000000 CURRENT_MAX=3250000", false, 0},
        {"STATUS=Charging", "ONLINE=0", "ONLINE=1 VOLTAGE_MAX=20000000 CURRENT_MAX=0", true, 0},
    };
    for (const auto& [battery, mains, usb, onACPower, adapterWatts] : rows) {
        TreeMachine machine;
        writeSupply(machine, "BAT0", "Battery", battery);
        writeSupply(machine, "AC", "Mains", mains);
        writeSupply(machine, "ucsi-source-psy-USBC000:001", "USB", usb);
        const BatteryMetrics metrics = BatteryReader(machine.platform).sample();
        EXPECT_EQ(metrics.onACPower, onACPower) << battery;
        EXPECT_DOUBLE_EQ(metrics.adapterWatts, adapterWatts) << battery;
    }
}

TEST(LinuxBattery, SingleFilesComeBeforeTheSummary) {
    TreeMachine machine;
    machine.write(supplies + "BAT0", {{"type", "Battery"},
                                      {"status", "Discharging"},
                                      {"energy_now", "30000000"},
                                      {"energy_full", "60000000"},
                                      {"power_now", "10000000"},
                                      {"uevent", "POWER_SUPPLY_STATUS=Full\nPOWER_SUPPLY_ENERGY_NOW=1"}});
    const BatteryMetrics battery = BatteryReader(machine.platform).sample();
    EXPECT_DOUBLE_EQ(battery.level, 0.5);
    EXPECT_EQ(battery.timeRemainingMinutes, 180);
}

/// Everything that the readers make of a machine in its third tick.
struct Family {
    const char* name;
    std::vector<double> numbers;
};
std::vector<Family> sampleAll(const std::string& root) {
    RootMachine machine(root);
    FrequencyReader frequencies(machine.platform);
    PowerReader power(std::make_shared<SMCBridge>(machine.platform), machine.platform);
    std::vector<Family> families;
    for (int tick = 0; tick < 3; ++tick) {
        const auto gpu = GPUReader(machine.platform).sample();
        const auto battery = BatteryReader(machine.platform).sample();
        const auto watts = power.sample();
        const auto temperature = TemperatureReader(machine.platform).sample();
        const auto clocks = frequencies.sample();
        families = {
            {"class/drm", {gpu.utilization, gpu.frequencyMHz, clocks.gpuMHz, clocks.gpuMaxMHz}},
            {"power_supply",
             {battery.level, battery.health, battery.maxCapacityWh, battery.designCapacityWh, battery.powerWatts,
              battery.adapterWatts, watts.systemWatts, static_cast<double>(battery.timeRemainingMinutes)}},
            {"powercap", {watts.cpuWatts, watts.gpuWatts, watts.dramWatts, watts.totalWatts}},
            {"hwmon", {temperature.cpu, temperature.gpu}},
            {"cpu", {clocks.performanceMHz, clocks.performanceMaxMHz}}};
        for (const auto& [name, clock] : clocks.perCoreMHz) families.back().numbers.push_back(clock);
        machine.fakes.clock.advance(Seconds(1));
    }
    return families;
}

/// Every file of a machine in turn missing, empty, cut and garbled: what it belongs to may be lost, all else stays.
TEST(LinuxMachine, AFaultyFileCostsOnlyItsOwnFamily) {
    const std::vector<std::pair<std::string, std::string>> files{
        {"sys/class/drm/card0/device/gpu_busy_percent", "11\n"},
        {"sys/class/drm/card0/device/pp_dpm_sclk", "0: 300Mhz \n1: 900Mhz *\n"},
        {"sys/class/drm/card1/gt_act_freq_mhz", "600\n"},
        {"sys/class/drm/card1/gt_RP0_freq_mhz", "2450\n"},
        {"sys/class/drm/card1/power/rc6_residency_ms", "6534\n"},
        {supplies + "BAT0/type", "Battery\n"},
        {supplies + "BAT0/uevent",
         "POWER_SUPPLY_STATUS=Discharging\nPOWER_SUPPLY_ENERGY_NOW=61850000\nPOWER_SUPPLY_ENERGY_FULL=84720000\n"
         "POWER_SUPPLY_POWER_NOW=10618000\nPOWER_SUPPLY_VOLTAGE_NOW=16137000\n"},
        {supplies + "AC/type", "Mains\n"},
        {supplies + "AC/uevent", "POWER_SUPPLY_ONLINE=0\n"},
        {"sys/class/powercap/intel-rapl:0/name", "package-0\n"},
        {"sys/class/powercap/intel-rapl:0/energy_uj", "240422366267\n"},
        {"sys/class/powercap/intel-rapl:0/max_energy_range_uj", "262143328850\n"},
        {"sys/class/powercap/intel-rapl:0:0/name", "uncore\n"},
        {"sys/class/powercap/intel-rapl:0:0/energy_uj", "118821284256\n"},
        {"sys/class/hwmon/hwmon0/name", "coretemp\n"},
        {"sys/class/hwmon/hwmon0/temp1_label", "Package id 0\n"},
        {"sys/class/hwmon/hwmon0/temp1_input", "45000\n"},
        {"sys/devices/system/cpu/online", "0-1\n"},
        {"sys/devices/system/cpu/cpufreq/policy0/related_cpus", "0 1\n"},
        {"sys/devices/system/cpu/cpufreq/policy0/scaling_cur_freq", "1200000\n"},
        {"sys/devices/system/cpu/cpufreq/policy0/cpuinfo_min_freq", "800000\n"},
        {"sys/devices/system/cpu/cpufreq/policy0/cpuinfo_max_freq", "2400000\n"},
        {"sys/devices/system/cpu/cpufreq/policy0/stats/time_in_state", "800000 10\n2400000 20\n"},
    };
    TemporaryTree tree;
    tree.write("proc/stat", "cpu0 1 0 1 1\ncpu1 1 0 1 1\n");
    for (const auto& [file, content] : files) tree.write(file, content);
    auto sampleWith = [&](const std::string& file, const std::optional<std::string>& content) {
        content ? tree.write(file, *content) : tree.remove(file);
        return sampleAll(tree.root());
    };
    const auto whole = sampleAll(tree.root());
    for (const auto& [file, content] : files) {
        for (const auto& fault : {std::optional<std::string>(), std::optional<std::string>(""),
                                  std::optional(content.substr(0, content.size() - 2)),
                                  std::optional<std::string>("\xFF\x01-99999999999999999999 nan\n=:*\n")}) {
            const auto families = sampleWith(file, fault);
            for (std::size_t i = 0; i < families.size(); ++i) {
                for (const double number : families[i].numbers) EXPECT_TRUE(std::isfinite(number)) << file;
                if (file.find(families[i].name) != std::string::npos) continue;
                EXPECT_EQ(families[i].numbers, whole[i].numbers) << file << " changed " << families[i].name;
            }
        }
        tree.write(file, content);
    }
}

}  // namespace
}  // namespace zqm
