#include "Platform/Apple/HostStatistics.h"
#include "Platform/Apple/IOReport.h"
#include "Platform/Apple/NetworkInterfaces.h"
#include "Platform/Apple/PowerSources.h"
#include "Platform/Apple/ProxySettings.h"
#include "Platform/Apple/Registry.h"
#include "Platform/Apple/Sysctl.h"
#include "Platform/Apple/TemperatureSensors.h"
#include "Platform/Platform.h"

namespace zqm {
namespace {

struct Absent final : HostStatistics,
                      Sysctl,
                      NetworkInterfaces,
                      InterfaceAddresses,
                      ProxySettings,
                      Registry,
                      IOReport,
                      PowerSources,
                      TemperatureSensors {
    std::optional<std::vector<ProcessorTicks>> processorTicks() override { return std::nullopt; }
    std::optional<VirtualMemoryPages> virtualMemory() override { return std::nullopt; }
    std::optional<std::uint64_t> pageSize() override { return std::nullopt; }
    std::optional<Bytes> read(std::string_view) override { return std::nullopt; }
    std::optional<std::vector<LinkInterface>> links() override { return std::nullopt; }
    std::optional<std::vector<InterfaceAddress>> ipv4() override { return std::nullopt; }
    std::optional<PropertyDictionary> proxySettings() override { return std::nullopt; }
    std::optional<std::vector<std::unique_ptr<RegistryEntry>>> services(std::string_view) override {
        return std::nullopt;
    }
    ReportLibrary* open(std::string_view) override { return nullptr; }
    std::optional<std::vector<std::optional<PropertyDictionary>>> descriptions() override { return std::nullopt; }
    std::optional<PropertyValue> adapterDetails() override { return std::nullopt; }
    std::optional<std::vector<std::unique_ptr<TemperatureSensor>>> sensors() override { return std::nullopt; }
};

}  // namespace

AppleServices absentAppleServices() {
    static Absent absent;
    return {absent, absent, absent, absent, absent, absent, absent, absent, absent};
}

}  // namespace zqm
