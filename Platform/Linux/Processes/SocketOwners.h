#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "Platform/Linux/Kernel/RootDirectory.h"
#include "Platform/Linux/Processes/ProcessFiles.h"
#include "Platform/Linux/Processes/ProcessScan.h"
#include "Platform/Linux/Processes/SocketInodes.h"
#include "Platform/Machine/ProcessTable.h"
#include "Platform/Posix/Descriptor.h"
#include "Platform/Process/Clock.h"

namespace zqm {

/// Counts the descriptors of internet sockets that processes hold.
///
/// A look at a descriptor costs more than all that is read of its process otherwise. A call therefore visits the
/// processes that are new, that ran, or that have another number of descriptors than at their last visit; of the rest,
/// and of those that do not let their descriptors be listed, a few in turn. It does that for at most 20 ms, the first
/// call for half a second. What does not fit is done by the next calls, process after process around the table and
/// within one with very many descriptors too; until then a process keeps its last count. One thread at a time.
class SocketOwners {
public:
    SocketOwners(const RootDirectory& root, Clock& clock);

    /// Brings the counts of `processes` (ascending by pid) forward and gives the processes that hold sockets, in the
    /// same order; nullopt when the sockets cannot be listed.
    std::optional<std::vector<SocketOwner>> update(const std::vector<LinuxProcess>& processes);

private:
    /// What is known of a process's descriptors, until it ends.
    struct Record {
        std::int32_t pid = 0;
        std::uint64_t startTime = 0;
        std::int64_t size = -1;     // of the directory of descriptors, when last looked at
        std::uint64_t sockets = 0;  // internet sockets, as of the last visit
        bool isDue = true;          // for a visit
        bool isHidden = false;      // this user may not list them
    };
    /// A process whose descriptors are being looked at.
    struct Visit {
        std::int32_t pid = 0;
        std::uint64_t startTime = 0;
        std::uint64_t sockets = 0;
        std::optional<bool> isElsewhere;  // in another network namespace
        DirectoryStream descriptors;
    };
    void follow(const std::vector<LinuxProcess>& processes);
    void visitAll();
    void visitChanged(MonotonicTime deadline);
    void visitInTurn(MonotonicTime deadline);
    void goOn(MonotonicTime deadline);
    void lookAtSize(Record& record);
    bool visit(Record& record, MonotonicTime deadline);
    bool count(Visit& visit, Record& record, MonotonicTime deadline);
    bool isInternet(Visit& visit, std::uint64_t inode, const char* descriptor) const;
    std::size_t indexOf(std::int64_t pid) const;

    const RootDirectory& root_;
    Clock& clock_;
    SocketInodes inodes_;
    std::string network_;           // this process's network namespace
    Descriptor directory_;          // /proc
    std::vector<Record> records_;   // of the processes of the latest call, ascending by pid
    std::vector<Record> previous_;  // between calls only its memory matters
    Visit unfinished_;              // no directory: none is under way
    bool isFirst_ = true;
    bool sizesTell_ = false;     // the number of descriptors
    std::int64_t next_ = 0;      // the pid to go on from
    std::int64_t nextTurn_ = 0;  // the pid whose turn is next
};

}  // namespace zqm
