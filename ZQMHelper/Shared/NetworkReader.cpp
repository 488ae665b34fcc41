#include "ZQMHelper/Shared/NetworkReader.h"

#include "Platform/Apple/TransferCounters.h"
#include "Platform/Machine/MachineReadings.h"

namespace zqm {
NetworkMetrics NetworkReader::sample() {
    const BytePair bytes = readCounters(platform_);
    const ByteRates rates = throughput_.update(bytes, platform_.clock.monotonic());
    return {.uploadBytesPerSecond = rates.outgoing,
            .downloadBytesPerSecond = rates.incoming,
            .totalUploaded = bytes.outgoing,
            .totalDownloaded = bytes.incoming};
}

BytePair NetworkReader::readCounters(Platform& platform) {
    const auto interfaces =
        platform.readings ? platform.readings->interfaces() : countedInterfaces(platform.networkInterfaces);
    BytePair bytes;
    if (!interfaces) return bytes;
    for (const InterfaceReading& interface : *interfaces) {
        bytes.incoming += interface.received;
        bytes.outgoing += interface.sent;
    }
    return bytes;
}

}  // namespace zqm
