#include "ZQMHelper/Shared/TemperatureReader.h"

#include <string_view>

#include "ZQMHelper/Shared/TemperatureBridge.h"

namespace zqm {
namespace {

struct Mean {
    void add(double value) {
        sum += value;
        ++count;
    }
    double valueOr(double fallback) const { return count > 0 ? sum / count : fallback; }

    double sum = 0;
    int count = 0;
};

bool isProcessor(std::string_view name) {
    return name.starts_with("pACC MTR") || name.starts_with("eACC MTR") || name.starts_with("SOC MTR") ||
           name.starts_with("PMU tdie");
}

bool isGPU(std::string_view name) {
    return name.starts_with("GPU");
}  // "GPU MTR" among them

}  // namespace

TemperatureReader::Result TemperatureReader::sample() {
    const auto temperatures = ReadHIDTemperatures(sensors_);
    if (!temperatures) return {};
    Mean cpu;
    Mean gpu;
    for (const auto& [name, temperature] : *temperatures) {
        if (isProcessor(name)) cpu.add(temperature);
        if (isGPU(name)) gpu.add(temperature);
    }
    return {.cpu = cpu.valueOr(0), .gpu = gpu.valueOr(cpu.valueOr(0))};
}

}  // namespace zqm
