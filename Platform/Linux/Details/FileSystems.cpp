#include "Platform/Linux/Details/FileSystems.h"

#include <sys/statvfs.h>

#include <algorithm>
#include <array>
#include <map>

#include "Platform/Linux/Kernel/KernelText.h"
#include "Support/Saturated.h"
#include "Support/Text.h"

namespace zqm {
namespace {

/// The kernel writes a blank, a tab, a line feed and a backslash as three octal digits.
std::string unescaped(std::string_view text) {
    std::string plain;
    while (!text.empty()) {
        const auto isOctal = [&](std::size_t at) { return text[at] >= '0' && text[at] <= '7'; };
        if (text.size() >= 4 && text[0] == '\\' && isOctal(1) && isOctal(2) && isOctal(3)) {
            plain += static_cast<char>((text[1] - '0') * 64 + (text[2] - '0') * 8 + (text[3] - '0'));
            text.remove_prefix(4);
        } else {
            plain += text.front();
            text.remove_prefix(1);
        }
    }
    return plain;
}

/// What is mounted, as far as its mounts are one file system: a device, or a pool; empty: it is on no drive.
std::string identity(std::string_view device, std::string_view type, std::string_view source, bool isRoot) {
    constexpr std::array<std::string_view, 4> images{"squashfs", "iso9660", "udf", "erofs"};
    if (std::find(images.begin(), images.end(), type) != images.end()) return {};
    if (type == "zfs" || type == "bcachefs") return std::string(source.substr(0, source.find_first_of("/:")));
    if (source.starts_with("/dev/") || (type == "overlay" && isRoot)) return std::string(device);
    return {};
}

}  // namespace

std::vector<std::string> mountPoints(std::string_view mounts) {
    std::map<std::string, std::string> shortest;  // mount point by identity
    while (auto line = takeLine(mounts)) {
        skipFields(*line, 2);  // its number, that of the mount above
        const std::string_view device = takeWord(*line);
        skipFields(*line, 1);  // the folder of the file system that is mounted
        const std::string point = unescaped(takeWord(*line));
        const auto end = line->find(" - ");  // of the options
        if (end == std::string_view::npos) continue;
        line->remove_prefix(end + 3);
        const std::string_view type = takeWord(*line);
        const std::string_view source = takeWord(*line);
        const std::string key = identity(device, type, source, point == "/");
        if (key.empty()) continue;
        std::string& known = shortest.try_emplace(key, point).first->second;
        if (point.size() < known.size()) known = point;
    }
    std::vector<std::string> points;
    for (auto& [key, point] : shortest) points.push_back(std::move(point));
    std::sort(points.begin(), points.end());
    return points;
}

std::vector<FileSystem> readFileSystems(const RootDirectory& root) {
    if (!root.isThisMachine()) return {};
    std::vector<FileSystem> systems;
    for (std::string& point : mountPoints(root.text("/proc/self/mountinfo").value_or("") + "\n")) {
        struct statvfs facts {};
        if (::statvfs(point.c_str(), &facts) != 0 || facts.f_blocks == 0) continue;
        systems.push_back({.mountPoint = std::move(point),
                           .total = multiplySaturated(facts.f_blocks, facts.f_frsize),
                           .available = multiplySaturated(std::min(facts.f_bavail, facts.f_blocks), facts.f_frsize)});
    }
    return systems;
}

}  // namespace zqm
