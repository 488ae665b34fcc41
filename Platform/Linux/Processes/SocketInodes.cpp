#include "Platform/Linux/Processes/SocketInodes.h"

#include <fcntl.h>
#include <linux/inet_diag.h>
#include <linux/sock_diag.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string>
#include <string_view>

#include "Platform/Linux/Kernel/KernelText.h"
#include "Platform/Posix/Descriptor.h"

namespace zqm {
namespace {

using Inodes = std::vector<std::uint64_t>;

/// Sockets without an inode belong to no process any more: those that linger after being closed.
void addInode(Inodes& inodes, std::uint64_t inode) {
    if (inode != 0) inodes.push_back(inode);
}

/// Asks for one dump of sockets in all states in which they have a process and a place in the kernel's tables.
template <class Question>
bool takeDump(Netlink& kernel, std::uint16_t type, Question question, Inodes& inodes) {
    constexpr unsigned timeWait = 6, boundInactive = 13;  // as the kernel numbers the states of TCP
    question.idiag_states = ~(1U << timeWait | 1U << boundInactive);
    return kernel.ask(type, NLM_F_DUMP, question, [&](const nlmsghdr& message) {
        if (const auto socket = recordOf<inet_diag_msg>(message)) addInode(inodes, socket->idiag_inode);
    });
}

/// A record of a dump costs the kernel a fraction of a line of text, and its text of UDP sockets is searched from the
/// beginning again for every page of it. TCP by the older of the two questions, which is about both families at once:
/// the kernel walks its whole table for each dump, and that has its length from the machine's memory, not from the
/// number of sockets.
bool takeDumps(Netlink& kernel, Inodes& inodes) {
    inet_diag_req tcp{};
    tcp.idiag_family = AF_INET;
    if (!takeDump(kernel, TCPDIAG_GETSOCK, tcp, inodes)) return false;
    for (const std::uint8_t family : {AF_INET, AF_INET6}) {
        inet_diag_req_v2 udp{};
        udp.sdiag_family = family;
        udp.sdiag_protocol = IPPROTO_UDP;
        if (!takeDump(kernel, SOCK_DIAG_BY_FAMILY, udp, inodes)) return false;
    }
    return true;
}

/// Reads a table of /proc/net piece by piece: with 100,000 sockets it has 15 MB.
bool takeTable(int file, std::vector<char>& buffer, Inodes& inodes) {
    std::size_t kept = 0;  // the beginning of a line whose end is to come
    while (true) {
        if (kept == buffer.size()) return false;  // no line of a table is that long
        const ssize_t count = ::read(file, buffer.data() + kept, buffer.size() - kept);
        if (count < 0 && errno == EINTR) continue;
        if (count <= 0) return count == 0;
        std::string_view text(buffer.data(), kept + static_cast<std::size_t>(count));
        for (std::size_t end = text.find('\n'); end != std::string_view::npos; end = text.find('\n')) {
            std::string_view line = text.substr(0, end);
            text.remove_prefix(end + 1);
            skipFields(line, 9);  // the titles have no number in this place
            if (const auto inode = takeCount(line)) addInode(inodes, *inode);
        }
        kept = text.size();
        std::memmove(buffer.data(), text.data(), kept);
    }
}

}  // namespace

bool SocketInodes::read() {
    constexpr unsigned readingsByTables = 30;  // a minute's: the kernel may look for a module whenever it is asked
    inodes_.clear();
    const bool asks = root_.isThisMachine() && byTables_ == 0;
    const bool hasDumps = asks && takeDumps(kernel_, inodes_);
    if (!hasDumps) {
        byTables_ = asks ? readingsByTables : byTables_ - std::min(byTables_, 1U);
        inodes_.clear();
        if (!readTables()) return false;
    }
    std::sort(inodes_.begin(), inodes_.end());
    return true;
}

bool SocketInodes::contains(std::uint64_t inode) const {
    return std::binary_search(inodes_.begin(), inodes_.end(), inode);
}

/// A table that does not exist (IPv6 switched off) has no sockets; without any the read has failed.
bool SocketInodes::readTables() {
    std::vector<char> buffer(std::size_t{64} << 10);
    bool any = false;
    for (const std::string_view table : {"tcp", "tcp6", "udp", "udp6"}) {
        const std::string path = root_.path("/proc/net/").append(table);
        const Descriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
        if (!file && errno == ENOENT) continue;
        if (!file || !takeTable(file.get(), buffer, inodes_)) return false;
        any = true;
    }
    return any;
}

}  // namespace zqm
