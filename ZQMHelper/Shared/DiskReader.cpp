#include "ZQMHelper/Shared/DiskReader.h"

#include "Platform/Apple/Registry.h"

namespace zqm {

DiskMetrics DiskReader::sample() {
    const BytePair bytes = readCounters(platform_.registry);
    const ByteRates rates = throughput_.update(bytes, platform_.clock.monotonic());
    return {.readBytesPerSecond = rates.incoming, .writeBytesPerSecond = rates.outgoing};
}

BytePair DiskReader::readCounters(Registry& registry) {
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

}  // namespace zqm
