#pragma once

#include <array>
#include <optional>
#include <string_view>

#include "Platform/Machine/MachineDetails.h"
#include "ZQMHelper/Shared/Metrics.h"

/// When a figure wants attention, the same in bars, `status` and `watch`.
namespace zqm {

enum class Level { normal, warning, critical };
template <>
struct RawValues<Level> {
    static constexpr std::array<std::string_view, 3> texts{"normal", "warning", "critical"};
};

/// What people set limits for. Processor and GPU use have none unless they do: work is no fault. Neither has the load
/// index, the greatest of both and of power as a share of the most seen, which at a steady power is always near 1.
enum class Limited { load, cpu, gpu, temperature, memory, battery };
template <>
struct RawValues<Limited> {
    static constexpr std::array<std::string_view, 6> texts{"load", "cpu", "gpu", "temperature", "memory", "battery"};
};

/// From where on; a battery's are those below which it warns. Fractions 0–1, °C.
struct Limit {
    double warning, critical;
};
using Limits = std::array<Limit, allCases<Limited>().size()>;

constexpr double never = 1e9;
constexpr Limits usualLimits{{{never, never}, {never, never}, {never, never}, {85, 95}, {0.90, 0.97}, {0.20, 0.10}}};

/// The usual limits but those of the list, in percent and °C: "temperature=85,95,load=90,97". nullopt where it is none:
/// an unknown name, other than two numbers of 0 to 100 (°C: 1000), or the critical one before the warning.
std::optional<Limits> parseLimits(std::string_view list);

/// What is judged of a sample.
enum class Aspect { load, cpu, gpu, cpuHeat, gpuHeat, memory, battery };

/// The levels of one sample. Memory goes by the pressure that the system tells (2 warning, 4 critical), where it tells
/// none by how full it is; a battery only while it feeds the machine.
class Levels {
public:
    Levels() = default;
    Levels(const SystemSnapshot& snapshot, const Limits& limits);

    Level of(Aspect aspect) const { return levels_[static_cast<std::size_t>(aspect)]; }
    /// The lower one of each.
    Levels lowest(const Levels& other) const;

private:
    Level& at(Aspect aspect) { return levels_[static_cast<std::size_t>(aspect)]; }

    std::array<Level, 7> levels_{};
};

/// The levels to show of samples that follow each other: they rise once three in a row say so, and fall at once.
class LevelTrail {
public:
    Levels add(const Levels& latest);

private:
    std::array<Levels, 2> before_{};
};

/// Of a file system, by the space that is left to ordinary users: below 10 % a warning, below 5 % critical.
Level spaceLevel(const FileSystem& system);

}  // namespace zqm
