#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Platform/Linux/LinuxMachine.h"
#include "tests/fakes/TemporaryTree.h"

namespace zqm {
namespace {

using testing::ElementsAre;

/// The kinds that the registry tells, one letter per processor.
std::string kinds(const TemporaryTree& tree) {
    LinuxMachine machine(tree.root());
    std::string letters;
    const auto services = machine.services().registry.services("AppleARMPE");
    const auto children = services->at(0)->children().value();
    for (const auto& child : children) {
        EXPECT_EQ(child->name(), "cpu" + std::to_string(letters.size()));
        const auto type = child->property("cluster-type");
        const Bytes* bytes = type ? asBytes(&*type) : nullptr;
        letters += bytes && bytes->size() == 1 ? static_cast<char>(bytes->front()) : '?';
    }
    return letters;
}

std::string processorFile(std::size_t processor, std::string_view file) {
    return "sys/devices/system/cpu/cpu" + std::to_string(processor) + "/" + std::string(file);
}

void showProcessors(const TemporaryTree& tree, std::size_t count) {
    tree.write("sys/devices/system/cpu/present", "0-" + std::to_string(count - 1) + "\n");
}

TEST(Processors, AddUpTheKernelsColumns) {
    TemporaryTree tree;
    tree.write("proc/stat",
               "cpu  9 9 9 9 9 9 9 9 9 9\n"
               "cpu0 100 20 30 400 5 6 7 8 90 10\n"  // user nice system idle iowait irq softirq steal guest guest_nice
               "cpu1 1 2 3 4\n"                      // an old kernel's columns
               "cpu2 1 2 3\n"                        // too few: not a processor
               "cpu3 1 2 3 18446744073709551615 5\n"
               "cpux 1 2 3 4\ncpu99999999999 1 2 3 4\n"
               "intr 1 2 3\ncpu4 1 2 3 4\n");
    LinuxMachine machine(tree.root());
    EXPECT_THAT(machine.services().hostStatistics.processorTicks().value(),
                ElementsAre(ProcessorTicks{.user = 100, .system = 51, .idle = 405, .nice = 20},
                            ProcessorTicks{.user = 1, .system = 3, .idle = 4, .nice = 2},
                            ProcessorTicks{.user = 1, .system = 3, .idle = UINT64_MAX, .nice = 2}));
}

TEST(Processors, KeepTheirPlaceWhenOthersComeAndGo) {
    TemporaryTree tree;
    LinuxMachine machine(tree.root());
    auto users = [&](std::string_view statistics) {
        tree.write("proc/stat", statistics);
        std::vector<std::uint64_t> values;
        const auto ticks = machine.services().hostStatistics.processorTicks().value();
        for (const auto& each : ticks) values.push_back(each.user);
        return values;
    };
    EXPECT_THAT(users("cpu0 1 0 0 0\ncpu2 2 0 0 0\n"), ElementsAre(1, 2));
    EXPECT_THAT(users("cpu2 12 0 0 0\n"), ElementsAre(1, 12));                                   // 0 goes offline
    EXPECT_THAT(users("cpu0 21 0 0 0\ncpu1 5 0 0 0\ncpu2 22 0 0 0\n"), ElementsAre(21, 5, 22));  // 1 appears
    EXPECT_THAT(users("cpu2 32 0 0 0\ncpu0 31 0 0 0\n"), ElementsAre(31, 5, 32));
    tree.write("proc/stat", "intr 1\n");
    EXPECT_EQ(machine.services().hostStatistics.processorTicks(), std::nullopt);
}

TEST(Processors, HaveTheKindsOfTheHybridLists) {
    TemporaryTree tree;
    tree.write("proc/stat", "cpu0 1 1 1 1\ncpu2 1 1 1 1\ncpu3 1 1 1 1\ncpu4 1 1 1 1\n");
    tree.write("sys/devices/cpu_core/cpus", "0-2\n");
    tree.write("sys/devices/cpu_atom/cpus", "3-4\n");
    EXPECT_EQ(kinds(tree), "PPEE");
    tree.write("proc/stat", "cpu3 1 1 1 1\n");
    EXPECT_EQ(kinds(tree), "E");
}

TEST(Processors, HaveTheKindsOfTheirCapacities) {
    struct Case {
        std::vector<unsigned> capacities;
        std::string_view kinds;
    };
    for (const auto& [capacities, expected] : std::initializer_list<Case>{
             {{280, 280, 855, 1024}, "EEMP"},
             {{446, 446, 1024, 1024}, "EEPP"},
             {{1024, 1024, 1024}, "PPP"},
             {{1024, 1003, 988}, "PPP"},  // bins of one kind
             {{280, 0, 1024}, "PPP"},     // not told for all
         }) {
        TemporaryTree tree;
        showProcessors(tree, capacities.size());
        for (std::size_t i = 0; i < capacities.size(); ++i) {
            tree.write(processorFile(i, "cpu_capacity"), std::to_string(capacities[i]) + "\n");
        }
        EXPECT_EQ(kinds(tree), expected);
    }
}

TEST(Processors, HaveTheKindsOfTheirFrequenciesOnlyWhereTheGapIsClear) {
    struct Case {
        const char* machine;
        std::vector<unsigned> highest, base;  // MHz
        std::string_view kinds;
    };
    for (const auto& [machine, highest, base, expected] : std::initializer_list<Case>{
             {"one kind", {4700, 4700}, {1200, 1200}, "PP"},
             {"favoured processors", {5300, 5100, 5100, 4900}, {3700, 3700, 3700, 3700}, "PPPP"},
             {"favoured processors, base unknown", {5700, 5250}, {}, "PP"},
             {"small gap in the highest, clear gap in the base", {2800, 2800, 3000}, {1400, 1400, 2000}, "EEP"},
             {"raised base of a chosen few", {3600, 3600, 3600}, {2800, 2100, 2100}, "PPP"},
             {"three clusters", {1805, 1805, 1901, 2600}, {}, "EEMP"},
             {"one missing", {1805, 0, 2600}, {}, "PPP"},
         }) {
        TemporaryTree tree;
        showProcessors(tree, highest.size());
        for (std::size_t i = 0; i < highest.size(); ++i) {
            if (highest[i] == 0) continue;
            tree.write(processorFile(i, "cpufreq/cpuinfo_max_freq"), std::to_string(highest[i]) + "000\n");
            if (!base.empty())
                tree.write(processorFile(i, "cpufreq/base_frequency"), std::to_string(base[i]) + "000\n");
        }
        EXPECT_EQ(kinds(tree), expected) << machine;
    }
}

TEST(Processors, TakeFrequenciesFromTheirPolicy) {
    TemporaryTree tree;
    showProcessors(tree, 3);
    tree.write("sys/devices/system/cpu/cpufreq/policy0/related_cpus", "0 1\n");
    tree.write("sys/devices/system/cpu/cpufreq/policy0/cpuinfo_max_freq", "1800000\n");
    tree.write("sys/devices/system/cpu/cpufreq/policy2/related_cpus", "2\n");
    tree.write("sys/devices/system/cpu/cpufreq/policy2/cpuinfo_max_freq", "3000000\n");
    EXPECT_EQ(kinds(tree), "EEP");
}

TEST(Processors, AreCountedPerPerformanceLevel) {
    TemporaryTree tree;
    showProcessors(tree, 5);
    LinuxMachine machine(tree.root());
    auto number = [&](std::string_view name) { return sysctlValue<std::int32_t>(machine.services().sysctl, name); };
    EXPECT_EQ(number("hw.nperflevels"), 1);
    EXPECT_EQ(number("hw.perflevel0.physicalcpu"), 5);
    EXPECT_EQ(number("hw.perflevel1.physicalcpu"), std::nullopt);
    tree.write("sys/devices/cpu_atom/cpus", "2-4\n");
    EXPECT_EQ(number("hw.nperflevels"), 2);
    EXPECT_EQ(sysctlText(machine.services().sysctl, "hw.perflevel0.name"), "Performance");
    EXPECT_EQ(number("hw.perflevel0.physicalcpu"), 2);
    EXPECT_EQ(sysctlText(machine.services().sysctl, "hw.perflevel1.name"), "Efficiency");
    EXPECT_EQ(number("hw.perflevel1.physicalcpu"), 3);
    for (std::string_view name : {"hw.perflevel2.name", "hw.perflevel", "hw.perflevelx.name", "hw.perflevel0.other"}) {
        EXPECT_EQ(machine.services().sysctl.read(name), std::nullopt) << name;
    }
}

TEST(Processors, AndTheMachineHaveNames) {
    TemporaryTree tree;
    LinuxMachine machine(tree.root());
    auto brand = [&] { return machine.services().systemFacts.processorName(); };
    EXPECT_EQ(brand(), std::nullopt);
    EXPECT_EQ(machine.services().systemFacts.hardwareModel(), std::nullopt);
    tree.write("proc/cpuinfo",
               "processor\t: 0\nmodel name\t:    Xeon(TM) CPU 2.60GHz\n\nprocessor\t: 1\nmodel name\t: x\n");
    EXPECT_EQ(brand(), "Xeon(TM) CPU 2.60GHz");
    tree.write("proc/cpuinfo", "processor\t: 0\nmodel name\t: ARMv8 rev 0\nCPU implementer\t: 0x41\n");
    EXPECT_EQ(brand(), "ARMv8 rev 0");
    tree.write("sys/devices/soc0/machine", "SM8550\n");
    EXPECT_EQ(brand(), "SM8550");
    tree.write("proc/device-tree/model", std::string_view("Board 4\0", 8));
    EXPECT_EQ(machine.services().systemFacts.hardwareModel(), "Board 4");
    tree.write("sys/class/dmi/id/product_name", "Laptop 14\n");
    EXPECT_EQ(machine.services().systemFacts.hardwareModel(), "Laptop 14");
}

}  // namespace
}  // namespace zqm
