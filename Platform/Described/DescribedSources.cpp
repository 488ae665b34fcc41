#include "Platform/Described/DescribedSources.h"

#include <nlohmann/json.hpp>
#include <span>
#include <utility>

namespace zqm {
namespace {

using enum MetricFamily;

/// Pointers into the description; of several for one family the first that is there is named.
constexpr std::pair<MetricFamily, std::string_view> places[]{
    {cpuUsage, "/hostStatistics/processors"},
    {coreKinds, "/registry/AppleARMPE"},
    {coreKinds, "/sysctl/hw.perflevel0.name"},
    {memory, "/hostStatistics/virtualMemory"},
    {swap, "/sysctl/vm.swapusage"},
    {memoryPressure, "/sysctl/kern.memorystatus_vm_pressure_level"},
    {network, "/networkInterfaces"},
    {disk, "/registry/IOBlockStorageDriver"},
    {gpuUtilization, "/registry/IOAccelerator"},
    {gpuFrequency, "/ioReport"},
    {gpuFrequency, "/registry/IOAccelerator"},
    {cpuFrequency, "/ioReport"},
    {coreFrequency, "/ioReport"},
    {cpuPower, "/ioReport"},
    {gpuPower, "/ioReport"},
    {anePower, "/ioReport"},
    {dramPower, "/ioReport"},
    {systemPower, "/registry/AppleSMCKeysEndpoint"},
    {systemPower, "/registry/AppleSMC"},
    {displayPower, "/registry/AppleSMCKeysEndpoint"},
    {displayPower, "/registry/AppleSMC"},
    {cpuTemperature, "/temperatureSensors"},
    {gpuTemperature, "/temperatureSensors"},
    {battery, "/powerSources/sources"},
    {battery, "/registry/AppleSmartBattery"},
    {adapter, "/powerSources/adapter"},
    {localAddress, "/interfaceAddresses"},
    {tunnelAddress, "/interfaceAddresses"},
    {proxy, "/systemFacts/proxySettings"},
    {processes, "/commands"},
    {processSockets, "/commands"},
    {processDisk, "/processes"},
    {processEnergy, "/processes"},
};

}  // namespace

SourceDescription DescribedSources::describe(MetricFamily family) {
    SourceDescription missing;
    for (const auto& [known, pointer] : places) {
        if (known != family) continue;
        const std::string place = "described: " + std::string(pointer.substr(1));
        if (model_.description.contains(Json::json_pointer(std::string(pointer)))) return {place, ""};
        if (missing.place.empty()) missing = {place, "not in the description"};
    }
    return missing;
}

}  // namespace zqm
