#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Platform/Linux/Kernel/KernelFile.h"
#include "Platform/Linux/Kernel/RootDirectory.h"
#include "Platform/Machine/MachineReadings.h"

namespace zqm {

/// The whole drives of /proc/diskstats: one read per call.
///
/// Partitions, device-mapper and RAID volumes, loop and RAM devices count the same bytes again and are left out, as are
/// the paths of an NVMe drive, unless the drive itself counts nothing. Which those are is found out when the set of
/// names changes. One thread at a time.
class BlockDrives {
public:
    explicit BlockDrives(const RootDirectory& root) : root_(root), statistics_(root.path("/proc/diskstats")) {}

    /// In the kernel's order, names as "sda", "nvme0n1"; nullopt when the file cannot be read.
    std::optional<std::vector<DriveReading>> read();
    SourceDescription describe() const { return root_.describe(statistics_); }

private:
    struct Row {
        std::string_view name, counters;
    };
    struct Known {
        std::string name;
        bool isDrive = false;
        std::string pathOf;  // the drive that this is a path of; empty: none
    };
    void recognise();

    const RootDirectory& root_;
    KernelFile statistics_;
    std::vector<Row> rows_;     // of the current call; kept for its memory
    std::vector<Known> known_;  // in the order of the rows they were made for
};

}  // namespace zqm
