#include "Platform/Linux/Hardware/BlockDrives.h"

#include <algorithm>
#include <limits>
#include <map>

#include "Platform/Linux/Kernel/KernelText.h"
#include "Support/Saturated.h"
#include "Support/Text.h"

namespace zqm {
namespace {

constexpr std::uint64_t sectorSize = 512;  // the unit of this file, whatever the drive's own sectors are

/// Takes the digits at the front of `text`; false when there is none.
bool takeDigits(std::string_view& text) {
    const std::size_t count = std::min(text.find_first_not_of("0123456789"), text.size());
    text.remove_prefix(count);
    return count > 0;
}

bool isNumberPair(std::string_view text, char separator) {
    if (!takeDigits(text) || !text.starts_with(separator)) return false;
    text.remove_prefix(1);
    return takeDigits(text) && text.empty();
}

/// Whether the name alone says that this is a whole drive: "sda", "vdb", "xvda", "hda", "nvme0n1", "mmcblk0".
bool isDriveName(std::string_view name) {
    for (const std::string_view family : {"sd", "vd", "xvd", "hd"}) {
        if (!name.starts_with(family)) continue;
        const std::string_view letters = name.substr(family.size());
        const auto isLetter = [](char c) { return c >= 'a' && c <= 'z'; };
        return !letters.empty() && std::all_of(letters.begin(), letters.end(), isLetter);
    }
    if (name.starts_with("nvme")) return isNumberPair(name.substr(4), 'n');
    if (!name.starts_with("mmcblk")) return false;
    std::string_view number = name.substr(6);
    return takeDigits(number) && number.empty();
}

/// "nvme0n1" for its path "nvme0c1n1"; empty for a name of another kind.
std::string driveOfPath(std::string_view name) {
    const std::size_t controller = name.find('c');
    const std::size_t drive = name.find('n', 4);
    if (!name.starts_with("nvme") || controller == std::string_view::npos || drive == std::string_view::npos) return {};
    const std::string whole =
        std::string(name.substr(0, controller)) + std::string(name.substr(std::max(controller, drive)));
    return isDriveName(whole) ? whole : std::string();
}

std::uint64_t bytesOfSectors(std::uint64_t sectors) {
    constexpr std::uint64_t most = std::numeric_limits<std::int64_t>::max();  // room for the sum of several
    return sectors > most / sectorSize ? most : sectors * sectorSize;
}

}  // namespace

std::optional<std::vector<DriveReading>> BlockDrives::read() {
    const auto content = statistics_.read();
    if (!content) return std::nullopt;
    rows_.clear();
    std::string_view rest = *content;
    while (auto line = takeLine(rest)) {
        skipFields(*line, 2);  // device numbers
        const std::string_view name = takeWord(*line);
        if (!name.empty()) rows_.push_back({name, *line});
    }
    const auto sameName = [](const Row& row, const Known& known) { return row.name == known.name; };
    if (!std::equal(rows_.begin(), rows_.end(), known_.begin(), known_.end(), sameName)) recognise();

    std::vector<DriveReading> drives;
    std::map<std::string, DriveReading> ofPaths;  // by drive
    for (std::size_t i = 0; i < rows_.size(); ++i) {
        if (!known_[i].isDrive && known_[i].pathOf.empty()) continue;
        std::string_view counters = rows_[i].counters;
        skipFields(counters, 2);  // reads, reads merged
        const auto read = takeCount(counters);
        skipFields(counters, 3);  // time of reads, writes, writes merged
        const auto written = takeCount(counters);
        if (!read || !written) continue;
        if (known_[i].isDrive) {
            drives.push_back({known_[i].name, bytesOfSectors(*read), bytesOfSectors(*written)});
            continue;
        }
        DriveReading& sum = ofPaths[known_[i].pathOf];
        sum.read = addSaturated(sum.read, bytesOfSectors(*read));
        sum.written = addSaturated(sum.written, bytesOfSectors(*written));
    }
    // Before Linux 6.2 a drive with several paths counts nothing itself.
    for (DriveReading& drive : drives) {
        const auto paths = ofPaths.find(drive.name);
        if (paths == ofPaths.end() || drive.read != 0 || drive.written != 0) continue;
        drive.read = paths->second.read;
        drive.written = paths->second.written;
    }
    return drives;
}

/// A drive has a device behind it in sysfs, or a name that says so where sysfs is missing or incomplete. NVMe goes by
/// name alone: the paths of a drive with several ("nvme0c1n1") have a device too.
void BlockDrives::recognise() {
    known_.clear();
    for (const Row& row : rows_) {
        const std::string name(row.name);
        const bool isDrive =
            isDriveName(name) || (!name.starts_with("nvme") && root_.exists("/sys/block/" + name + "/device"));
        known_.push_back({name, isDrive, driveOfPath(name)});
    }
}

}  // namespace zqm
