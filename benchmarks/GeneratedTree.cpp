#include "benchmarks/GeneratedTree.h"

#include <stdlib.h>

#include <fstream>
#include <system_error>
#include <utility>

namespace zqm {
namespace fs = std::filesystem;

GeneratedTree::GeneratedTree() {
    const fs::path memory = "/dev/shm";
    std::string pattern =
        ((fs::is_directory(memory) ? memory : fs::temp_directory_path()) / "zqm-bench-XXXXXX").string();
    if (!::mkdtemp(pattern.data())) throw fs::filesystem_error("mkdtemp", std::make_error_code(std::errc(errno)));
    root_ = pattern;
}

GeneratedTree::~GeneratedTree() {
    std::error_code ignored;
    fs::remove_all(root_, ignored);
}

void GeneratedTree::addMachine(int processors) const {
    addTables(processors);
    addClocks(processors);
    addSensors();
    addPower();
}

void GeneratedTree::write(const std::string& file, std::string_view content) const {
    const fs::path path = root_ / file;
    fs::create_directories(path.parent_path());
    std::ofstream(path, std::ios::binary) << content;
}

void GeneratedTree::addTables(int processors) const {
    const std::string ticks = " 4705123 1560 1183242 46828483 16683 0 25195 0 0 0\n";
    std::string statistics = "cpu " + ticks;
    for (int i = 0; i < processors; ++i) statistics += "cpu" + std::to_string(i) + ticks;
    statistics += "intr 1462898";
    for (int i = 0; i < 1000; ++i) statistics += " 0";
    write("proc/stat", statistics + "\nctxt 115315\nbtime 1763327051\nprocesses 868\n");

    std::string memory;
    for (const char* name :
         {"MemTotal",     "MemFree",     "MemAvailable",    "Buffers",      "Cached",      "SwapCached",  "Active",
          "Inactive",     "Unevictable", "Mlocked",         "SwapTotal",    "SwapFree",    "Zswap",       "Dirty",
          "AnonPages",    "Mapped",      "Shmem",           "SReclaimable", "SUnreclaim",  "KernelStack", "PageTables",
          "VmallocTotal", "Percpu",      "HugePages_Total", "Hugetlb",      "DirectMap4k", "DirectMap2M"}) {
        memory += name + std::string(":       65847312 kB\n");
    }
    write("proc/meminfo", memory);
    write("proc/pressure/memory",
          "some avg10=0.10 avg60=0.05 avg300=0.01 total=12345\n"
          "full avg10=0.00 avg60=0.00 avg300=0.00 total=234\n");

    std::string network = "Inter-|   Receive                            |  Transmit\n face |bytes    packets\n";
    for (const char* name : {"lo", "enp1s0", "enp2s0", "wlan0", "docker0", "veth1a2b3c4", "veth5d6e7f8", "wg0"}) {
        network += name + std::string(": 9876543210 7654321 0 12 0 0 0 345 1234567890 2345678 0 0 0 0 0 0\n");
        write(std::string("sys/class/net/") + name + "/type", "1\n");
    }
    write("proc/net/dev", network);

    std::string drives;
    for (int i = 0; i < 8; ++i) {
        for (const char* part : {"", "p1", "p2", "p3"}) {
            drives += " 259 " + std::to_string(i) + " nvme" + std::to_string(i) + "n1" + part +
                      " 1187284 3312 98374562 261873 2384723 882112 187263544 2837462 0 983472 3100034 0 0 0 0 9 8\n";
        }
    }
    write("proc/diskstats", drives);
}

void GeneratedTree::addClocks(int processors) const {
    const std::string directory = "sys/devices/system/cpu/";
    write(directory + "online", "0-" + std::to_string(processors - 1) + "\n");
    for (int i = 0; i < processors; ++i) {
        const std::string policy = directory + "cpufreq/policy" + std::to_string(i) + "/";
        write(policy + "related_cpus", std::to_string(i) + "\n");
        write(policy + "scaling_cur_freq", std::to_string(1500000 + i * 10007) + "\n");
        write(policy + "cpuinfo_min_freq", "1500000\n");
        write(policy + "cpuinfo_max_freq", "3900000\n");
    }
}

void GeneratedTree::addSensors() const {
    for (int chip = 0; chip < 4; ++chip) {
        const std::string directory = "sys/class/hwmon/hwmon" + std::to_string(chip) + "/";
        write(directory + "name", "coretemp\n");
        for (int i = 1; i <= 10; ++i) {
            const std::string sensor = directory + "temp" + std::to_string(i);
            write(sensor + "_input", std::to_string(41000 + i * 500) + "\n");
            write(sensor + "_label", "Core " + std::to_string(chip * 10 + i) + "\n");
        }
    }
}

void GeneratedTree::addPower() const {
    for (const char* number : {"0", "1"}) {
        const std::string zone = std::string("sys/class/powercap/intel-rapl:") + number + "/";
        write(zone + "name", std::string("package-") + number + "\n");
        write(zone + "energy_uj", "262143328850\n");
        write(zone + "max_energy_range_uj", "262143999999\n");
    }
    const std::pair<const char*, const char*> battery[]{{"type", "Battery"},
                                                        {"status", "Discharging"},
                                                        {"present", "1"},
                                                        {"capacity", "74"},
                                                        {"cycle_count", "212"},
                                                        {"voltage_now", "11800000"},
                                                        {"power_now", "9800000"},
                                                        {"energy_now", "38210000"},
                                                        {"energy_full", "51620000"},
                                                        {"energy_full_design", "57020000"},
                                                        {"voltage_min_design", "11520000"}};
    for (const auto& [file, value] : battery) {
        write(std::string("sys/class/power_supply/BAT0/") + file, value + std::string("\n"));
    }
}

}  // namespace zqm
