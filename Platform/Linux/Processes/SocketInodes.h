#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "Platform/Linux/Kernel/RootDirectory.h"

namespace zqm {

/// The inode numbers of the TCP and UDP sockets in this process's network namespace. One thread at a time.
class SocketInodes {
public:
    explicit SocketInodes(const RootDirectory& root) : root_(root), asksKernel_(root.path("").empty()) {}

    /// Takes all of them anew: on this machine from the kernel's socket dumps, where those are refused and below
    /// another root from /proc/net. False when neither can be read.
    bool read();
    bool contains(std::uint64_t inode) const;

private:
    bool readTables();

    const RootDirectory& root_;
    bool asksKernel_;
    std::vector<std::uint64_t> inodes_;  // ascending after a successful read
};

}  // namespace zqm
