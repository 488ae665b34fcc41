#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "Platform/Linux/Kernel/KernelFile.h"
#include "Platform/Linux/Kernel/RootDirectory.h"

namespace zqm {

/// What has been read from and written to one whole drive since the machine started.
struct DriveBytes {
    std::string name;  // the kernel's: "sda", "nvme0n1"
    std::uint64_t read = 0;
    std::uint64_t written = 0;
};

/// The whole drives of /proc/diskstats: one read per call.
///
/// Partitions, device-mapper and RAID volumes, loop and RAM devices count the same bytes again and are left out. Which
/// those are is found out when the set of names changes. One thread at a time.
class BlockDrives {
public:
    explicit BlockDrives(const RootDirectory& root) : root_(root), statistics_(root.path("/proc/diskstats")) {}

    /// In the kernel's order; empty when the file cannot be read.
    std::vector<DriveBytes> read();

private:
    struct Row {
        std::string_view name, counters;
    };
    struct Known {
        std::string name;
        bool isDrive = false;
    };
    void recognise();

    const RootDirectory& root_;
    KernelFile statistics_;
    std::vector<Row> rows_;     // of the current call; kept for its memory
    std::vector<Known> known_;  // in the order of the rows they were made for
};

}  // namespace zqm
