#include "ZQMHelper/Shared/NetworkReader.h"

#include "Platform/Apple/NetworkInterfaces.h"

namespace zqm {

NetworkMetrics NetworkReader::sample() {
    const BytePair bytes = readCounters(platform_.networkInterfaces);
    const ByteRates rates = throughput_.update(bytes, platform_.clock.monotonic());
    return {.uploadBytesPerSecond = rates.outgoing,
            .downloadBytesPerSecond = rates.incoming,
            .totalUploaded = bytes.outgoing,
            .totalDownloaded = bytes.incoming};
}

BytePair NetworkReader::readCounters(NetworkInterfaces& interfaces) {
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

}  // namespace zqm
