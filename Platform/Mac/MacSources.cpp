#include "Platform/Mac/MacSources.h"

#include <unistd.h>

#include <algorithm>

#include "Platform/Mac/Libraries/IOReportCalls.h"

namespace zqm {
namespace {

using enum MetricFamily;

/// Absent for want of what the system lacks, else for the other reason, unless it can be read.
SourceDescription told(std::string place, bool isThere, const std::string& missing,
                       const char* otherwise = "the call fails") {
    return {std::move(place), isThere ? "" : missing.empty() ? otherwise : missing};
}

std::string missingInIOReport(DynamicLibraries& libraries) {
    return IOReportCalls(libraries, libraries.open(IOReportCalls::path) ? IOReportCalls::path : ioReportFramework)
        .missing();
}

}  // namespace

SourceDescription MacSources::describe(MetricFamily family) {
    switch (family) {
        case cpuUsage:
            return told("host_processor_info", services_.hostStatistics.processorTicks().has_value(),
                        services_.hostStatistics.missing());
        case coreKinds:
            return processorNodes();
        case memory:
            return told("host_statistics64", services_.hostStatistics.virtualMemory().has_value(),
                        services_.hostStatistics.missing());
        case swap:
            return valueNamed("vm.swapusage");
        case memoryPressure:
            return valueNamed("kern.memorystatus_vm_pressure_level");
        case network:
            return told("sysctl NET_RT_IFLIST2", services_.sysctl.links().has_value(), services_.sysctl.missing());
        case disk:
            return entryOf("IOBlockStorageDriver", "Statistics");
        case gpuUtilization:
            return entryOf("IOAccelerator", "PerformanceStatistics");
        case gpuFrequency:
            return channelsOf("GPU Stats", "GPU Performance States");
        case cpuFrequency:
            return channelsOf("CPU Stats", "CPU Complex Performance States");
        case coreFrequency:
            return channelsOf("CPU Stats", "CPU Core Performance States");
        case cpuPower:
        case gpuPower:
        case anePower:
        case dramPower:
            return channelsOf("Energy Model", nullptr);
        case systemPower:
            return controller("PSTR");
        case displayPower:
            return controller("PBwo, PDBR");
        case cpuTemperature:
        case gpuTemperature:
            return sensors();
        case MetricFamily::battery:
            return battery();
        case adapter:
            return told("IOPSCopyExternalPowerAdapterDetails", services_.powerSources.adapterDetails().has_value(),
                        services_.powerSources.missingForAdapter(), "it tells of no adapter");
        case localAddress:
        case tunnelAddress:
            return told("getifaddrs", services_.addresses.ipv4().has_value(), services_.addresses.missing());
        case proxy:
            return told("CFNetworkCopySystemProxySettings", services_.proxySettings.proxySettings().has_value(),
                        services_.proxySettings.missing());
        case processes:
            return {"/bin/ps", ""};
        case processSockets:
            return {"/usr/sbin/lsof", "", "of this user's processes"};
        case processDisk:
            return {"proc_pid_rusage", services_.taskCounters.missing(), "of this user's processes"};
        case processEnergy:
            return energyOfProcesses();
    }
    return {};
}

SourceDescription MacSources::valueNamed(const char* name) {
    return told("sysctlbyname " + std::string(name), services_.sysctl.read(name).has_value(),
                services_.sysctl.missing());
}

SourceDescription MacSources::entryOf(const char* className, const char* key) {
    const std::string place = "IORegistry " + std::string(className) + ", " + key;
    const auto entries = services_.registry.services(className);
    if (!entries || entries->empty()) {
        return told(place, false, services_.registry.missing(), entries ? "no such service here" : "the lookup fails");
    }
    const bool isTold = std::any_of(entries->begin(), entries->end(),
                                    [&](const auto& entry) { return entry->property(key).has_value(); });
    return told(place, isTold, services_.registry.missing(), "the service does not tell it");
}

SourceDescription MacSources::processorNodes() {
    const char* const place = "IORegistry AppleARMPE/cpuN, cluster-type; sysctlbyname hw.perflevelN.name";
    const auto machines = services_.registry.services("AppleARMPE");
    const bool isThere = machines && !machines->empty() && machines->front()->children();
    return told(place, isThere, services_.registry.missing(), "this machine's processor has no kinds");
}

SourceDescription MacSources::channelsOf(const char* group, const char* subgroup) {
    const std::string place = "IOReport " + std::string(group) + (subgroup ? ", " + std::string(subgroup) : "");
    ReportLibrary* library = services_.ioReport.open(IOReportCalls::path);
    if (!library) library = services_.ioReport.open(ioReportFramework);
    const std::string missing = missingInIOReport(services_.libraries);
    if (!library || !library->has(ReportOperation::copyChannelsInGroup)) return told(place, false, missing);
    const auto channels =
        library->copyChannelsInGroup(group, subgroup ? std::optional<std::string_view>(subgroup) : std::nullopt);
    return {place, !missing.empty() ? missing : channels ? "" : "no such channels on this processor"};
}

SourceDescription MacSources::controller(const char* keys) {
    for (const char* name : {"AppleSMCKeysEndpoint", "AppleSMC"}) {
        const std::string place = "IOConnectCallStructMethod " + std::string(name) + ", " + keys;
        const auto entries = services_.registry.services(name);
        if (!entries || entries->empty()) continue;
        return told(place, entries->front()->open(0) != nullptr, services_.registry.missingForConnections(),
                    "the driver refuses this program");
    }
    return told(std::string("IOConnectCallStructMethod AppleSMC, ") + keys, false, services_.registry.missing(),
                "no such service here");
}

SourceDescription MacSources::sensors() {
    const auto list = services_.temperatureSensors.sensors();
    if (!list || list->empty()) {
        return told("IOHIDEventSystemClientCopyServices", false, services_.temperatureSensors.missing(),
                    list ? "it lists no sensors" : "the event system refuses this program");
    }
    return {"IOHIDEventSystemClientCopyServices", "", std::to_string(list->size()) + " sensors"};
}

SourceDescription MacSources::battery() {
    const auto list = services_.powerSources.descriptions();
    return told("IOPSCopyPowerSourcesInfo; IORegistry AppleSmartBattery", list && !list->empty(),
                services_.powerSources.missingForSources(), list ? "it lists no battery" : "the call fails");
}

/// Asked of this process, whose energy is never 0 where any is counted.
SourceDescription MacSources::energyOfProcesses() {
    const auto name = services_.taskCounters.taskName(::getpid());
    const auto power = name ? name->power() : std::nullopt;
    return told("task_name_for_pid, task_info TASK_POWER_INFO_V2", power && power->energy > 0,
                services_.taskCounters.missing(), power ? "not counted on this processor" : "the call fails");
}

}  // namespace zqm
