#include "ZQMHelper/Shared/LibprocBridge.h"

namespace zqm {

int ZQMReadDiskIO(TaskCounters& counters, std::int32_t pid, std::uint64_t* bytesRead, std::uint64_t* bytesWritten) {
    const auto disk = counters.disk(pid);
    if (!disk) return -1;
    if (bytesRead) *bytesRead = disk->bytesRead;
    if (bytesWritten) *bytesWritten = disk->bytesWritten;
    return 0;
}

}  // namespace zqm
