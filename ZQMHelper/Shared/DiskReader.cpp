#include "ZQMHelper/Shared/DiskReader.h"

#include "Platform/Apple/TransferCounters.h"
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
        const auto counters = driveCounters(*drive);
        if (!counters) continue;
        bytes.incoming += counters->read;
        bytes.outgoing += counters->written;
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
