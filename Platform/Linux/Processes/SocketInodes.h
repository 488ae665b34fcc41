#pragma once

#include <cstdint>
#include <vector>

#include "Platform/Linux/Kernel/Netlink.h"
#include "Platform/Linux/Kernel/RootDirectory.h"

namespace zqm {

/// The inode numbers of the TCP and UDP sockets in this process's network namespace. One thread at a time.
class SocketInodes {
public:
    explicit SocketInodes(const RootDirectory& root) : root_(root) {}

    /// Takes all of them anew: on this machine from the kernel's socket dumps; for a minute after one of those failed,
    /// and below another root, from /proc/net. False when that cannot be read.
    bool read();
    bool contains(std::uint64_t inode) const;

private:
    bool readTables();

    const RootDirectory& root_;
    Netlink kernel_{NETLINK_SOCK_DIAG};
    unsigned byTables_ = 0;              // readings to come before the dumps are asked for again
    std::vector<std::uint64_t> inodes_;  // ascending after a successful read
};

}  // namespace zqm
