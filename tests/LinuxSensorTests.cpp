#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ZQMHelper/Shared/TemperatureBridge.h"
#include "ZQMHelper/Shared/TemperatureReader.h"
#include "tests/fakes/TreeMachine.h"

namespace zqm {
namespace {

using testing::ElementsAre;
using testing::Pair;

struct Chip {
    const char* name;
    std::vector<std::pair<const char*, const char*>> sensors;  // label (null: none) and thousandths of a degree
};

void writeChips(const TreeMachine& machine, const std::vector<Chip>& chips) {
    for (std::size_t i = 0; i < chips.size(); ++i) {
        const std::string directory = "sys/class/hwmon/hwmon" + std::to_string(i) + "/";
        machine.tree.write(directory + "name", std::string(chips[i].name) + "\n");
        int number = 1;
        for (const auto& [label, value] : chips[i].sensors) {
            const std::string sensor = directory + "temp" + std::to_string(number++);
            if (label) machine.tree.write(sensor + "_label", std::string(label) + "\n");
            machine.tree.write(sensor + "_input", std::string(value) + "\n");
        }
    }
}

TEST(LinuxSensors, TheProcessorIsWhatItsPackageSays) {
    const struct {
        const char* what;
        std::vector<Chip> chips;
        double cpu, gpu;
    } rows[] = {
        {"package, not the mean of its cores",
         {{"coretemp", {{"Package id 0", "71000"}, {"Core 0", "40000"}, {"Core 1", "71000"}}}},
         71,
         71},
        {"two packages",
         {{"coretemp", {{"Package id 0", "70000"}}}, {"coretemp", {{"Package id 1", "50000"}}}},
         60,
         60},
        {"cores where there is no package", {{"coretemp", {{"Core 0", "40000"}, {"Core 1", "50000"}}}}, 45, 45},
        {"the die, not the control value",
         {{"k10temp", {{"Tctl", "80000"}, {"Tdie", "53000"}, {"Tccd1", "40000"}}}},
         53,
         53},
        {"a drive is hotter",
         {{"nvme", {{"Composite", "35850"}, {"Sensor 2", "38850"}}},
          {"k10temp", {{"Tctl", "33250"}, {"Tccd1", "33250"}}}},
         33.25,
         33.25},
        {"the firmware's zone comes last",
         {{"acpitz", {{nullptr, "27800"}}}, {"cpu_thermal", {{nullptr, "49925"}}}},
         49.925,
         49.925},
        {"and alone", {{"acpitz", {{nullptr, "27800"}}}}, 27.8, 27.8},
        {"a package that cannot be read", {{"coretemp", {{"Package id 0", ""}, {"Core 0", "40000"}}}}, 40, 40},
        {"the GPU's edge, not its memory",
         {{"amdgpu", {{"edge", "53000"}, {"junction", "61000"}, {"mem", "68000"}}}},
         0,
         53},
        {"the GPU's package", {{"xe", {{"pkg", "46000"}, {"vram", "48000"}}}}, 0, 46},
        {"nothing plausible", {{"coretemp", {{"Package id 0", "-44000"}, {"Core 0", "151000"}}}}, 0, 0},
        {"a name like a group's",
         {{"GPU_board", {{nullptr, "90000"}}}, {"PMU tdie", {{nullptr, "90000"}}}, {"SOC MTR", {{"x", "90000"}}}},
         0,
         90},
    };
    for (const auto& [what, chips, cpu, gpu] : rows) {
        TreeMachine machine;
        writeChips(machine, chips);
        const auto result = TemperatureReader(machine.platform).sample();
        EXPECT_DOUBLE_EQ(result.cpu, cpu) << what;
        EXPECT_DOUBLE_EQ(result.gpu, gpu) << what;
    }
}

TEST(LinuxSensors, HaveNamesOfTheirOwn) {
    TreeMachine machine;
    writeChips(machine, {{"nvme", {{"Composite", "31000"}}},
                         {"nvme", {{"Composite", "32000"}}},
                         {"iwlwifi_1", {{nullptr, "45000"}}},
                         {"drivetemp", {{nullptr, "33000"}}},
                         {"coretemp", {{"Package id 0", "71000"}, {"Core 0", "41000"}}},
                         {"nct6775", {{"SYSTIN", "29000"}}}});
    machine.write("sys/class/thermal/thermal_zone0", {{"type", "x86_pkg_temp"}, {"temp", "70000"}});
    machine.write("sys/class/thermal/thermal_zone1", {{"type", "gpu-thermal"}, {"temp", "55000"}});
    EXPECT_THAT(ReadHIDTemperatures(machine.machine.services().temperatureSensors).value(),
                ElementsAre(Pair("CPU coretemp Core 0", 41), Pair("CPU x86_pkg_temp", 70), Pair("GPU gpu-thermal", 55),
                            Pair("NVMe Composite", 31), Pair("NVMe Composite 2", 32),
                            Pair("PMU tdie coretemp Package id 0", 71), Pair("Wi-Fi", 45), Pair("nct6775 SYSTIN", 29)));
}

TEST(LinuxSensors, ChangeComeAndGo) {
    TreeMachine machine;
    EXPECT_FALSE(machine.machine.services().temperatureSensors.sensors());
    machine.fakes.clock.advance(Seconds(60));
    writeChips(machine, {{"coretemp", {{"Package id 0", "50000"}}}, {"nvme", {{"Composite", "31000"}}}});
    auto read = [&] { return ReadHIDTemperatures(machine.machine.services().temperatureSensors).value(); };
    EXPECT_EQ(read()["PMU tdie coretemp Package id 0"], 50);
    writeChips(machine, {{"coretemp", {{"Package id 0", "60000"}}}, {"nvme", {{"Composite", "39000"}}}});
    machine.fakes.clock.advance(Seconds(1));
    EXPECT_EQ(read()["PMU tdie coretemp Package id 0"], 60);
    EXPECT_EQ(read()["NVMe Composite"], 31) << "read once a minute";
    machine.tree.remove("sys/class/hwmon/hwmon0/temp1_input");
    EXPECT_THAT(read(), ElementsAre(Pair("NVMe Composite", 31)));
    machine.fakes.clock.advance(Seconds(60));
    EXPECT_THAT(read(), ElementsAre(Pair("NVMe Composite", 39)));
}

TEST(LinuxSensors, ASleepingGraphicsCardIsLeftAlone) {
    TreeMachine machine;
    const std::string chip = "sys/class/drm/card0/device/hwmon/hwmon4/";
    machine.write(chip, {{"name", "amdgpu"}, {"temp1_label", "edge"}, {"temp1_input", "44000"}});
    machine.write(chip + "device/power", {{"runtime_status", "active"}});
    TemperatureReader reader(machine.platform);
    EXPECT_EQ(reader.sample().gpu, 44);
    machine.write(chip + "device/power", {{"runtime_status", "suspended"}});
    EXPECT_EQ(reader.sample().gpu, 0);
}

}  // namespace
}  // namespace zqm
