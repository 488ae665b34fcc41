#include "Platform/Linux/Processes/SocketOwners.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <string_view>
#include <utility>

#include "Support/Text.h"

namespace zqm {
namespace {

constexpr Seconds firstBudget{0.5};  // once, so that the first answer is whole on all but the largest machines
constexpr Seconds budget{0.02};      // per call

/// The inode of a link such as "socket:[4711]".
std::optional<std::uint64_t> socketInode(std::string_view link) {
    constexpr std::string_view before = "socket:[";
    if (!link.starts_with(before) || !link.ends_with(']')) return std::nullopt;
    return parseUnsigned(link.substr(before.size(), link.size() - before.size() - 1));
}

}  // namespace

std::optional<std::vector<SocketOwner>> SocketOwners::update(std::vector<LinuxProcess>& processes) {
    if (!inodes_.read()) return std::nullopt;
    visitAll(processes);
    std::vector<SocketOwner> owners;
    for (const LinuxProcess& process : processes) {
        if (process.sockets == 0) continue;
        owners.push_back({.pid = process.row.pid, .name = process.row.name, .sockets = process.sockets});
    }
    return owners;
}

void SocketOwners::visitAll(std::vector<LinuxProcess>& processes) {
    const MonotonicTime deadline = clock_.monotonic() + (std::exchange(isFirst_, false) ? firstBudget : budget);
    const DirectoryStream directory(::opendir(root_.path("/proc").c_str()));
    if (!directory) return;
    const auto first = std::find_if(processes.begin(), processes.end(),
                                    [this](const LinuxProcess& process) { return process.row.pid >= next_; });
    const auto offset = static_cast<std::size_t>(first - processes.begin());
    for (std::size_t step = 0; step < processes.size(); ++step) {
        LinuxProcess& process = processes[(offset + step) % processes.size()];
        next_ = process.row.pid;
        if (process.hidesDescriptors) continue;
        if (!visit(process, ::dirfd(directory.get()), deadline)) return;
    }
    ++next_;  // all are done, the last one too
}

/// False when the time is up; the visit then goes on from there at the next call.
bool SocketOwners::visit(LinuxProcess& process, int directory, MonotonicTime deadline) {
    const bool goesOn =
        visit_.descriptors && visit_.pid == process.row.pid && visit_.startTime == process.row.startTime;
    if (!goesOn && !begin(process, directory)) return clock_.monotonic() < deadline;
    while (const dirent* entry = ::readdir(visit_.descriptors.get())) {
        if (entry->d_name[0] == '.') continue;  // the directory and the one above
        std::array<char, 64> link;
        const ssize_t size = ::readlinkat(::dirfd(visit_.descriptors.get()), entry->d_name, link.data(), link.size());
        // A process of this user that has more rights lets its descriptors be listed but not looked at.
        if (size < 0 && isRefusal(errno)) process.hidesDescriptors = true;
        if (process.hidesDescriptors) break;
        const auto inode = socketInode({link.data(), static_cast<std::size_t>(std::max<ssize_t>(size, 0))});
        if (inode && inodes_.contains(*inode)) ++visit_.sockets;
        if (clock_.monotonic() >= deadline) return false;
    }
    process.sockets = process.hidesDescriptors ? 0 : visit_.sockets;
    visit_ = {};
    return true;
}

bool SocketOwners::begin(LinuxProcess& process, int directory) {
    visit_ = {.pid = process.row.pid,
              .startTime = process.row.startTime,
              .sockets = 0,
              .descriptors = openDirectory(directory, ProcessPath(process.row.pid, "fd").text())};
    if (visit_.descriptors) return true;
    process.hidesDescriptors = isRefusal(errno);
    process.sockets = 0;
    return false;
}

}  // namespace zqm
