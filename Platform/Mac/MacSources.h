#pragma once

#include "Platform/Mac/MacAddresses.h"
#include "Platform/Mac/MacHostStatistics.h"
#include "Platform/Mac/MacIOReport.h"
#include "Platform/Mac/MacPowerSources.h"
#include "Platform/Mac/MacRegistry.h"
#include "Platform/Mac/MacSysctl.h"
#include "Platform/Mac/MacTaskCounters.h"
#include "Platform/Mac/MacTemperatureSensors.h"
#include "Platform/Machine/SourceReport.h"

namespace zqm {

/// Which call each family comes from on a Mac, and why it tells nothing here: what the system lacks, what this
/// processor does not have, what is refused. Asks the services anew.
class MacSources final : public SourceReport {
public:
    struct Services {
        DynamicLibraries& libraries;
        MacHostStatistics& hostStatistics;
        MacSysctl& sysctl;
        MacAddresses& addresses;
        MacProxySettings& proxySettings;
        MacRegistry& registry;
        MacIOReport& ioReport;
        MacPowerSources& powerSources;
        MacTemperatureSensors& temperatureSensors;
        MacTaskCounters& taskCounters;
    };
    explicit MacSources(const Services& services) : services_(services) {}
    SourceDescription describe(MetricFamily family) override;

private:
    SourceDescription valueNamed(const char* name);
    SourceDescription entryOf(const char* className, const char* key);
    SourceDescription processorNodes();
    SourceDescription channelsOf(const char* group, const char* subgroup);
    SourceDescription controller(const char* keys);
    SourceDescription sensors();
    SourceDescription battery();
    SourceDescription energyOfProcesses();

    Services services_;
};

}  // namespace zqm
