#include "Platform/Linux/Processes/SocketOwners.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/xattr.h>
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

using LinkBuffer = std::array<char, 64>;

/// The beginning of where a link leads; nullopt with `errno` set when it cannot be read.
std::optional<std::string_view> readLink(int directory, const char* path, LinkBuffer& buffer) {
    const ssize_t size = ::readlinkat(directory, path, buffer.data(), buffer.size());
    return size < 0 ? std::nullopt : std::optional(std::string_view(buffer.data(), static_cast<std::size_t>(size)));
}

/// The inode of a link such as "socket:[4711]".
std::optional<std::uint64_t> socketInode(std::string_view link) {
    constexpr std::string_view before = "socket:[";
    if (!link.starts_with(before) || !link.ends_with(']')) return std::nullopt;
    return parseUnsigned(link.substr(before.size(), link.size() - before.size() - 1));
}

}  // namespace

SocketOwners::SocketOwners(const RootDirectory& root, Clock& clock) : root_(root), clock_(clock), inodes_(root) {
    LinkBuffer buffer;
    network_ = readLink(AT_FDCWD, root.path("/proc/self/ns/net").c_str(), buffer).value_or("");
}

std::optional<std::vector<SocketOwner>> SocketOwners::update(const std::vector<LinuxProcess>& processes) {
    follow(processes);
    if (!inodes_.read()) return std::nullopt;
    visitAll();
    std::vector<SocketOwner> owners;
    for (std::size_t i = 0; i < processes.size(); ++i) {
        if (records_[i].sockets == 0) continue;
        const ProcessRow& row = processes[i].row;
        owners.push_back(
            {.pid = row.pid, .startTime = row.startTime, .name = row.name, .sockets = records_[i].sockets});
    }
    return owners;
}

void SocketOwners::follow(const std::vector<LinuxProcess>& processes) {
    previous_.swap(records_);
    records_.clear();
    auto known = previous_.cbegin();
    for (const LinuxProcess& process : processes) {
        const ProcessRow& row = process.row;
        while (known != previous_.cend() && known->pid < row.pid) ++known;
        const bool isKnown = known != previous_.cend() && known->pid == row.pid && known->startTime == row.startTime;
        records_.push_back(isKnown ? *known : Record{.pid = row.pid, .startTime = row.startTime});
        if (process.hasRun && !records_.back().isHidden) records_.back().isDue = true;
    }
}

void SocketOwners::visitAll() {
    directory_.reset(::open(root_.path("/proc").c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    const Seconds time = std::exchange(isFirst_, false) ? firstBudget : budget;
    const MonotonicTime now = clock_.monotonic();
    goOn(now + 0.4 * time);
    visitChanged(now + 0.8 * time);
    visitInTurn(now + time);
}

void SocketOwners::visitChanged(MonotonicTime deadline) {
    const std::size_t first = indexOf(next_);
    for (std::size_t step = 0; step < records_.size(); ++step) {
        Record& record = records_[(first + step) % records_.size()];
        if (record.isHidden) continue;
        next_ = record.pid;
        if (clock_.monotonic() >= deadline) return;
        lookAtSize(record);
        if (!record.isDue) continue;
        ++next_;
        if (!visit(record, deadline)) return;
    }
}

/// A socket may have taken a file's place within a tick; and a process whose descriptors were hidden may have become
/// this user's, as when a shell is started.
void SocketOwners::visitInTurn(MonotonicTime deadline) {
    constexpr std::size_t most = 128;
    const std::size_t calls = sizesTell_ ? 25 : 5;
    const std::size_t first = indexOf(nextTurn_);
    const std::size_t count = std::min({records_.size() / calls + 1, records_.size(), most});
    for (std::size_t step = 0; step < count && clock_.monotonic() < deadline; ++step) {
        Record& record = records_[(first + step) % records_.size()];
        nextTurn_ = std::int64_t{record.pid} + 1;
        if (!visit(record, deadline)) return;
    }
}

void SocketOwners::goOn(MonotonicTime deadline) {
    if (!unfinished_.descriptors) return;
    const std::size_t index = indexOf(unfinished_.pid);
    const bool lives = index < records_.size() && records_[index].pid == unfinished_.pid &&
                       records_[index].startTime == unfinished_.startTime;
    if (!lives || count(unfinished_, records_[index], deadline)) unfinished_ = {};
}

void SocketOwners::lookAtSize(Record& record) {
    struct stat status {};
    if (::fstatat(directory_.get(), ProcessPath(record.pid, "fd").text(), &status, 0) != 0) return;
    if (status.st_size > 0) sizesTell_ = true;
    if (status.st_size != record.size) record.isDue = true;
    record.size = status.st_size;
}

/// False when the time is up.
bool SocketOwners::visit(Record& record, MonotonicTime deadline) {
    if (unfinished_.descriptors && unfinished_.pid == record.pid) return true;
    Visit visit{.pid = record.pid,
                .startTime = record.startTime,
                .sockets = 0,
                .isElsewhere = {},
                .descriptors = openDirectory(directory_.get(), ProcessPath(record.pid, "fd").text())};
    if (!visit.descriptors) {
        record.isHidden = isRefusal(errno);
        record.isDue = !record.isHidden;
        if (record.isHidden) record.sockets = 0;
        return true;
    }
    record.isDue = false;
    if (count(visit, record, deadline)) return true;
    if (unfinished_.descriptors) {
        record.isDue = true;  // from the beginning, when the other one is done
    } else {
        unfinished_ = std::move(visit);
    }
    return false;
}

/// False when the time is up; it then goes on from there when called again.
bool SocketOwners::count(Visit& visit, Record& record, MonotonicTime deadline) {
    record.isHidden = false;
    while (const dirent* entry = ::readdir(visit.descriptors.get())) {
        if (entry->d_name[0] == '.') continue;  // the directory and the one above
        LinkBuffer buffer;
        const auto link = readLink(::dirfd(visit.descriptors.get()), entry->d_name, buffer);
        // A process of this user that has more rights lets its descriptors be listed but not looked at.
        record.isHidden = !link && isRefusal(errno);
        if (record.isHidden) break;
        const auto inode = socketInode(link.value_or(""));
        if (inode && isInternet(visit, *inode, entry->d_name)) ++visit.sockets;
        if (clock_.monotonic() >= deadline) return false;
    }
    record.sockets = record.isHidden ? 0 : visit.sockets;
    return true;
}

/// By the kernel's list of sockets that have an address; it has those of this process's network namespace alone. In
/// another one every TCP and UDP socket counts.
bool SocketOwners::isInternet(Visit& visit, std::uint64_t inode, const char* descriptor) const {
    if (inodes_.contains(inode)) return true;
    if (!visit.isElsewhere) {
        LinkBuffer buffer;
        const auto network = readLink(directory_.get(), ProcessPath(visit.pid, "ns/net").text(), buffer);
        visit.isElsewhere = network && !network_.empty() && *network != network_;
    }
    if (!*visit.isElsewhere) return false;
    const std::string path = root_.path("/proc/") + ProcessPath(visit.pid, "fd/").text() + descriptor;
    std::array<char, 32> buffer;
    const ssize_t size = ::getxattr(path.c_str(), "system.sockprotoname", buffer.data(), buffer.size());
    if (size <= 0) return false;
    const std::string_view protocol(buffer.data(), static_cast<std::size_t>(size) - 1);  // a NUL ends it
    return protocol == "TCP" || protocol == "TCPv6" || protocol == "UDP" || protocol == "UDPv6";
}

std::size_t SocketOwners::indexOf(std::int64_t pid) const {
    const auto found = std::lower_bound(records_.begin(), records_.end(), pid,
                                        [](const Record& record, std::int64_t before) { return record.pid < before; });
    return static_cast<std::size_t>(found - records_.begin());
}

}  // namespace zqm
