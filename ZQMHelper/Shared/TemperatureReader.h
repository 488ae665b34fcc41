#pragma once

#include "Platform/Platform.h"

namespace zqm {

/// Mean temperatures of the processor's and the GPU's sensors, as the machine tells them apart, else by how their names
/// begin; what a graphics card tells of itself is GPUReader's. Keeps no state; used from one thread at a time.
class TemperatureReader {
public:
    struct Result {  // degrees Celsius; 0 when there is no sensor
        double cpu = 0;
        double gpu = 0;  // the processor's when no sensor is the GPU's
    };

    explicit TemperatureReader(Platform& platform = Platform::current()) : platform_(platform) {}

    Result sample();

private:
    Platform& platform_;
};

}  // namespace zqm
