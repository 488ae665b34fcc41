#include "Platform/Linux/Processes/SocketInodes.h"

#include <fcntl.h>
#include <linux/inet_diag.h>
#include <linux/netlink.h>
#include <linux/sock_diag.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <string>
#include <string_view>

#include "Platform/Linux/Kernel/KernelText.h"
#include "Platform/Posix/Descriptor.h"

namespace zqm {
namespace {

constexpr std::size_t bufferSize = std::size_t{64} << 10;

using Inodes = std::vector<std::uint64_t>;

/// Sockets without an inode belong to no process any more: those that linger after being closed.
void addInode(Inodes& inodes, std::uint64_t inode) {
    if (inode != 0) inodes.push_back(inode);
}

// The kernel's dumps. A record costs it a fraction of a line of text, and its text of UDP sockets is searched from the
// beginning again for every page of it.

Descriptor openDumps() {
    Descriptor socket(::socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_SOCK_DIAG));
    const timeval patience{.tv_sec = 1, .tv_usec = 0};
    if (socket) ::setsockopt(socket.get(), SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
    return socket;
}

constexpr unsigned timeWait = 6;  // as the kernel numbers the states of TCP
constexpr std::uint32_t wantedStates = ~(1U << timeWait);

template <class Question>
bool requestDump(int socket, std::uint16_t type, const Question& question) {
    struct {
        nlmsghdr header;
        Question question;
    } request{};
    request.header.nlmsg_len = sizeof request;
    request.header.nlmsg_type = type;
    request.header.nlmsg_flags = NLM_F_REQUEST | NLM_F_DUMP;
    request.question = question;
    return ::send(socket, &request, sizeof request, 0) == static_cast<ssize_t>(sizeof request);
}

/// By the older of the two questions, which is about both families at once. The kernel walks its whole table for each
/// dump, and that has its length from the machine's memory, not from the number of sockets.
bool requestTcp(int socket) {
    inet_diag_req question{};
    question.idiag_family = AF_INET;
    question.idiag_states = wantedStates;
    return requestDump(socket, TCPDIAG_GETSOCK, question);
}

bool requestUdp(int socket, std::uint8_t family) {
    inet_diag_req_v2 question{};
    question.sdiag_family = family;
    question.sdiag_protocol = IPPROTO_UDP;
    question.idiag_states = wantedStates;
    return requestDump(socket, SOCK_DIAG_BY_FAMILY, question);
}

enum class Dump { goesOn, complete, failed };

/// What one datagram of an answer holds.
Dump takeAnswer(std::string_view answer, Inodes& inodes) {
    while (answer.size() >= sizeof(nlmsghdr)) {
        nlmsghdr header;
        std::memcpy(&header, answer.data(), sizeof header);
        if (header.nlmsg_len < sizeof header || header.nlmsg_len > answer.size()) return Dump::failed;
        if (header.nlmsg_type == NLMSG_DONE) return Dump::complete;
        if (header.nlmsg_type == NLMSG_ERROR) return Dump::failed;
        const bool isSocket = header.nlmsg_type == SOCK_DIAG_BY_FAMILY || header.nlmsg_type == TCPDIAG_GETSOCK;
        if (isSocket && header.nlmsg_len >= NLMSG_LENGTH(sizeof(inet_diag_msg))) {
            inet_diag_msg socket;
            std::memcpy(&socket, answer.data() + NLMSG_HDRLEN, sizeof socket);
            addInode(inodes, socket.idiag_inode);
        }
        answer.remove_prefix(std::min<std::size_t>(NLMSG_ALIGN(header.nlmsg_len), answer.size()));
    }
    return Dump::goesOn;
}

bool takeDump(int socket, std::vector<char>& buffer, Inodes& inodes) {
    Dump state = Dump::goesOn;
    while (state == Dump::goesOn) {
        const ssize_t count = ::recv(socket, buffer.data(), buffer.size(), 0);
        if (count < 0 && errno == EINTR) continue;
        if (count <= 0) return false;
        state = takeAnswer({buffer.data(), static_cast<std::size_t>(count)}, inodes);
    }
    return state == Dump::complete;
}

bool readDumps(int socket, Inodes& inodes) {
    std::vector<char> buffer(bufferSize);
    if (!requestTcp(socket) || !takeDump(socket, buffer, inodes)) return false;
    for (const std::uint8_t family : {AF_INET, AF_INET6}) {
        if (!requestUdp(socket, family) || !takeDump(socket, buffer, inodes)) return false;
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
    inodes_.clear();
    if (asksKernel_) {
        const Descriptor socket = openDumps();
        if (!socket && (errno == EMFILE || errno == ENFILE)) return false;  // will pass; the tables need one as well
        asksKernel_ = socket && readDumps(socket.get(), inodes_);
        if (!asksKernel_) inodes_.clear();
    }
    if (!asksKernel_ && !readTables()) return false;
    std::sort(inodes_.begin(), inodes_.end());
    return true;
}

bool SocketInodes::contains(std::uint64_t inode) const {
    return std::binary_search(inodes_.begin(), inodes_.end(), inode);
}

/// A table that does not exist (IPv6 switched off) has no sockets; without any the read has failed.
bool SocketInodes::readTables() {
    std::vector<char> buffer(bufferSize);
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
