#include "Platform/Linux/Hardware/BlockDrives.h"

#include <algorithm>
#include <limits>

#include "Platform/Linux/Kernel/KernelText.h"
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
    for (std::size_t i = 0; i < rows_.size(); ++i) {
        if (!known_[i].isDrive) continue;
        std::string_view counters = rows_[i].counters;
        skipFields(counters, 2);  // reads, reads merged
        const auto read = takeCount(counters);
        skipFields(counters, 3);  // time of reads, writes, writes merged
        const auto written = takeCount(counters);
        if (!read || !written) continue;
        drives.push_back({known_[i].name, bytesOfSectors(*read), bytesOfSectors(*written)});
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
        known_.push_back({name, isDrive});
    }
}

}  // namespace zqm
