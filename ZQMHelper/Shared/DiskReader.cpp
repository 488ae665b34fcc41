#include "ZQMHelper/Shared/DiskReader.h"

#include "Platform/Apple/Registry.h"
#include "Platform/Machine/MachineReadings.h"

namespace zqm {
namespace {

BytePair plainCounters(MachineReadings& readings) {
    BytePair bytes;
    const auto drives = readings.drives();
    if (!drives) return bytes;
    for (const DriveReading& drive : *drives) {
        bytes.incoming += drive.read;
        bytes.outgoing += drive.written;
    }
    return bytes;
}

BytePair registryCounters(Registry& registry) {
    BytePair bytes;
    const auto drives = registry.services("IOBlockStorageDriver");
    if (!drives) return bytes;
    for (const auto& drive : *drives) {
        const auto property = drive->property("Statistics");
        const PropertyDictionary* statistics = property ? asDictionary(&*property) : nullptr;
        if (!statistics) continue;
        bytes.incoming += asCount(find(*statistics, "Bytes (Read)")).value_or(0);
        bytes.outgoing += asCount(find(*statistics, "Bytes (Write)")).value_or(0);
    }
    return bytes;
}

}  // namespace

DiskMetrics DiskReader::sample() {
    const BytePair bytes = readCounters(platform_);
    const ByteRates rates = throughput_.update(bytes, platform_.clock.monotonic());
    return {.readBytesPerSecond = rates.incoming, .writeBytesPerSecond = rates.outgoing};
}

BytePair DiskReader::readCounters(Platform& platform) {
    return platform.readings ? plainCounters(*platform.readings) : registryCounters(platform.registry);
}

}  // namespace zqm
