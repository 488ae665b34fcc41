#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "Platform/Linux/Kernel/RootDirectory.h"
#include "Platform/Linux/Processes/ProcessFiles.h"
#include "Platform/Linux/Processes/ProcessScan.h"
#include "Platform/Linux/Processes/SocketInodes.h"
#include "Platform/Machine/ProcessTable.h"
#include "Platform/Process/Clock.h"

namespace zqm {

/// Counts the descriptors of internet sockets that processes hold.
///
/// A call looks at descriptors for at most 20 ms, the first one for half a second. What does not fit is looked at by
/// the next calls, process after process around the table and within one with very many descriptors too; until then a
/// process keeps its last count. Processes whose descriptors may not be listed are asked once in their life. One thread
/// at a time.
class SocketOwners {
public:
    SocketOwners(const RootDirectory& root, Clock& clock) : root_(root), clock_(clock), inodes_(root) {}

    /// Brings the counts of `processes` (ascending by pid) forward and gives the processes that hold sockets, in the
    /// same order; nullopt when the sockets cannot be listed.
    std::optional<std::vector<SocketOwner>> update(std::vector<LinuxProcess>& processes);

private:
    /// The process whose descriptors are being looked at, over several calls where needed.
    struct Visit {
        std::int32_t pid = 0;
        std::uint64_t startTime = 0;
        std::uint64_t sockets = 0;
        DirectoryStream descriptors;
    };
    void visitAll(std::vector<LinuxProcess>& processes);
    bool visit(LinuxProcess& process, int directory, MonotonicTime deadline);
    bool begin(LinuxProcess& process, int directory);

    const RootDirectory& root_;
    Clock& clock_;
    SocketInodes inodes_;
    bool isFirst_ = true;
    Visit visit_;            // no directory: none is under way
    std::int32_t next_ = 0;  // the pid to go on from
};

}  // namespace zqm
