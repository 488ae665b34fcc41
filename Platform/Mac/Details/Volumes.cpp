#include "Platform/Mac/Details/Volumes.h"

#include <algorithm>
#include <map>
#include <string>
#include <string_view>

#include "Support/Saturated.h"

namespace zqm {
namespace {

constexpr int noWait = 2;                     // MNT_NOWAIT
constexpr std::uint32_t readOnly = 0x1;       // MNT_RDONLY
constexpr std::uint32_t hidden = 0x00100000;  // MNT_DONTBROWSE

template <std::size_t size>
std::string_view textIn(const char (&field)[size]) {
    return {field, static_cast<std::size_t>(std::find(field, field + size, '\0') - field)};
}

std::vector<FileSystemRecord> mounted(const DetailCalls& calls) {
    constexpr int most = 4096;  // beyond that a count is taken for damage
    constexpr int room = 4;     // for what is mounted between the two calls
    const int count = calls.getfsstat ? calls.getfsstat(nullptr, 0, noWait) : 0;
    if (count <= 0 || count > most) return {};
    std::vector<FileSystemRecord> records(static_cast<std::size_t>(count + room));
    const int size = static_cast<int>(records.size() * sizeof(FileSystemRecord));
    const int filled = calls.getfsstat(records.data(), size, noWait);
    records.resize(std::min(records.size(), static_cast<std::size_t>(std::max(filled, 0))));
    return records;
}

/// What its room belongs to: a drive's partition, or the container of several volumes; empty: nothing that people mean.
std::string identity(const FileSystemRecord& volume) {
    constexpr std::string_view drive = "/dev/disk";
    const std::string_view source = textIn(volume.source);
    const std::string_view point = textIn(volume.mountPoint);
    const bool isSystems = (volume.flags & hidden) != 0 || point.starts_with("/System/Volumes/");
    const bool isFixed = (volume.flags & readOnly) != 0 && point != "/";
    if (!source.starts_with(drive) || isSystems || isFixed || volume.blocks == 0) return {};
    const bool isShared = textIn(volume.typeName) == "apfs";
    return std::string(isShared ? source.substr(0, source.find_first_not_of("0123456789", drive.size())) : source);
}

}  // namespace

std::vector<FileSystem> readVolumes(const DetailCalls& calls) {
    std::map<std::string, FileSystem> shortest;  // by identity
    for (const FileSystemRecord& volume : mounted(calls)) {
        const std::string key = identity(volume);
        const std::string_view point = textIn(volume.mountPoint);
        if (key.empty()) continue;
        const auto [known, isNew] = shortest.try_emplace(key);
        if (!isNew && known->second.mountPoint.size() <= point.size()) continue;
        known->second = {.mountPoint = std::string(point),
                         .total = multiplySaturated(volume.blocks, volume.blockSize),
                         .available = multiplySaturated(std::min(volume.available, volume.blocks), volume.blockSize)};
    }
    std::vector<FileSystem> volumes;
    volumes.reserve(shortest.size());
    for (auto& [key, volume] : shortest) volumes.push_back(std::move(volume));
    std::sort(volumes.begin(), volumes.end(),
              [](const FileSystem& a, const FileSystem& b) { return a.mountPoint < b.mountPoint; });
    return volumes;
}

}  // namespace zqm
