#include "ZQMHelper/Shared/TemperatureReader.h"

#include <string_view>

#include "Platform/Machine/MachineReadings.h"
#include "ZQMHelper/Shared/TemperatureBridge.h"

namespace zqm {
namespace {

struct Mean {
    void add(double value) {
        sum += value;
        ++count;
    }
    void addPlausible(double celsius) {
        if (isPlausibleTemperature(celsius)) add(celsius);
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
    Mean cpu;
    Mean gpu;
    if (platform_.readings) {
        const TemperatureReading reading = platform_.readings->temperatures();
        for (const double celsius : reading.processors) cpu.addPlausible(celsius);
        for (const double celsius : reading.graphics) gpu.addPlausible(celsius);
    } else if (const auto temperatures = ReadHIDTemperatures(platform_.temperatureSensors)) {
        for (const auto& [name, temperature] : *temperatures) {
            if (isProcessor(name)) cpu.add(temperature);
            if (isGPU(name)) gpu.add(temperature);
        }
    }
    return {.cpu = cpu.valueOr(0), .gpu = gpu.valueOr(cpu.valueOr(0))};
}

}  // namespace zqm
