#include "ZQMHelper/Shared/NetworkReader.h"

#include "Platform/Apple/NetworkInterfaces.h"
#include "Platform/Machine/MachineReadings.h"

namespace zqm {
namespace {

BytePair plainCounters(MachineReadings& readings) {
    BytePair bytes;
    const auto interfaces = readings.interfaces();
    if (!interfaces) return bytes;
    for (const InterfaceReading& interface : *interfaces) {
        bytes.incoming += interface.received;
        bytes.outgoing += interface.sent;
    }
    return bytes;
}

BytePair linkCounters(NetworkInterfaces& interfaces) {
    BytePair bytes;
    const auto links = interfaces.links();
    if (!links) return bytes;
    for (const LinkInterface& link : *links) {
        if (!link.name.starts_with("en") || !link.counters) continue;
        bytes.incoming += link.counters->received;
        bytes.outgoing += link.counters->sent;
    }
    return bytes;
}

}  // namespace

NetworkMetrics NetworkReader::sample() {
    const BytePair bytes = readCounters(platform_);
    const ByteRates rates = throughput_.update(bytes, platform_.clock.monotonic());
    return {.uploadBytesPerSecond = rates.outgoing,
            .downloadBytesPerSecond = rates.incoming,
            .totalUploaded = bytes.outgoing,
            .totalDownloaded = bytes.incoming};
}

BytePair NetworkReader::readCounters(Platform& platform) {
    return platform.readings ? plainCounters(*platform.readings) : linkCounters(platform.networkInterfaces);
}

}  // namespace zqm
