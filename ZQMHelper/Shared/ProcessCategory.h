#pragma once

#include <cstdint>
#include <string>

#include "Support/RawValue.h"
#include "Support/Schema.h"

namespace zqm {

/// What processes are ranked by.
enum class ProcessCategory { cpu, gpu, memory, disk, network, power };
template <>
struct RawValues<ProcessCategory> {
    static constexpr std::array<std::string_view, 6> texts{"cpu", "gpu", "memory", "disk", "network", "power"};
};

/// One entry of a ranking.
struct TopProcess {
    std::int32_t pid = 0;
    std::string name;  // short name
    /// cpu: percent of one processor; gpu: share of the machine's GPU utilisation, 0–1; memory: resident bytes;
    /// disk: bytes per second; network: open internet sockets; power: watts.
    double value = 0;

    bool operator==(const TopProcess&) const = default;
};
template <>
struct Schema<TopProcess> {
    static constexpr std::tuple fields{Field{"pid", &TopProcess::pid}, Field{"name", &TopProcess::name},
                                       Field{"value", &TopProcess::value}};
};
static_assert(isComplete<TopProcess>);

}  // namespace zqm
