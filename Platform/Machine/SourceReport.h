#pragma once

#include <string>

#include "Support/RawValue.h"

namespace zqm {

/// Metrics that are read together from one kind of source.
enum class MetricFamily {
    cpuUsage,
    coreKinds,
    memory,
    swap,
    memoryPressure,
    network,
    disk,
    gpuUtilization,
    gpuFrequency,
    cpuFrequency,
    coreFrequency,
    cpuPower,
    gpuPower,
    anePower,
    dramPower,
    systemPower,
    displayPower,
    cpuTemperature,
    gpuTemperature,
    battery,
    adapter,
    localAddress,
    tunnelAddress,
    proxy,
    processes,
    processSockets,
    processDisk,
    processEnergy,
};
template <>
struct RawValues<MetricFamily> {
    static constexpr std::array<std::string_view, 28> texts{"cpu usage",
                                                            "core kinds",
                                                            "memory",
                                                            "swap",
                                                            "memory pressure",
                                                            "network",
                                                            "disk",
                                                            "gpu usage",
                                                            "gpu frequency",
                                                            "cpu frequency",
                                                            "core frequency",
                                                            "cpu power",
                                                            "gpu power",
                                                            "ane power",
                                                            "dram power",
                                                            "system power",
                                                            "display power",
                                                            "cpu temperature",
                                                            "gpu temperature",
                                                            "battery",
                                                            "adapter",
                                                            "local address",
                                                            "tunnel",
                                                            "proxy",
                                                            "processes",
                                                            "process sockets",
                                                            "process disk",
                                                            "process energy"};
};

/// Where a machine reads a family from, in words for a person. Holds nothing that identifies the machine or its owner.
struct SourceDescription {
    std::string place;        // the file that is read, or the one that would be; empty when there is no source at all
    std::string absence;      // why nothing can be read there; empty: something can
    std::string remark = {};  // what should be known beside the figure: "12 of 300 hide it from this user"
};

/// Answers why a figure is what it is, or is missing. Looks at the machine anew on every call; callable from any
/// thread, one call at a time. Never fails.
class SourceReport {
public:
    virtual ~SourceReport() = default;
    virtual SourceDescription describe(MetricFamily family) = 0;
};

}  // namespace zqm
