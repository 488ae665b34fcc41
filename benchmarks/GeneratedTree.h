#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace zqm {

/// A machine's /proc and /sys in memory (/dev/shm where there is one), removed at the end.
class GeneratedTree {
public:
    GeneratedTree();
    ~GeneratedTree();
    GeneratedTree(const GeneratedTree&) = delete;
    GeneratedTree& operator=(const GeneratedTree&) = delete;

    std::string root() const { return root_.string(); }
    /// Every source of a tick: `processors` with a clock each, 40 sensors that count, two packages with energy counters
    /// and a battery.
    void addMachine(int processors) const;

private:
    void write(const std::string& file, std::string_view content) const;
    void addTables(int processors) const;
    void addClocks(int processors) const;
    void addSensors() const;
    void addPower() const;

    std::filesystem::path root_;
};

}  // namespace zqm
