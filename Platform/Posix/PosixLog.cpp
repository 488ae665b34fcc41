#include "Platform/Posix/PosixLog.h"

#include <fcntl.h>
#include <limits.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/uio.h>
#include <sys/un.h>
#include <syslog.h>
#include <time.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <utility>

namespace zqm {
namespace {

iovec piece(std::string_view text) {
    return {const_cast<char*>(text.data()), text.size()};
}

/// "<priority>Nov 22 20:55:35 ZQMHelper[123]: "; the names of months are English in every locale.
std::string_view messageHeader(std::array<char, 80>& buffer) {
    static constexpr std::array months{"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                       "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
    const time_t now = ::time(nullptr);
    tm local{};
    ::localtime_r(&now, &local);
    const int size =
        std::snprintf(buffer.data(), buffer.size(), "<%d>%s %2d %02d:%02d:%02d ZQMHelper[%ld]: ", LOG_USER | LOG_DEBUG,
                      months[static_cast<std::size_t>(local.tm_mon) % months.size()], local.tm_mday, local.tm_hour,
                      local.tm_min, local.tm_sec, static_cast<long>(::getpid()));
    return {buffer.data(), std::min(static_cast<std::size_t>(std::max(size, 0)), buffer.size() - 1)};
}

}  // namespace

PosixLog::PosixLog(int output, std::string systemLog) : output_(output), systemLog_(std::move(systemLog)) {}

void PosixLog::print(std::string_view line) {
    constexpr std::size_t longest = PIPE_BUF - 1;
    const std::array pieces{piece(line.substr(0, longest)), piece("\n")};
    MutexLock lock(printLock_);
    pollfd ready{output_, POLLOUT, 0};
    constexpr short writable = POLLOUT | POLLNVAL;  // some systems cannot watch a terminal, but write to it
    if (::poll(&ready, 1, 0) != 1 || (ready.revents & writable) == 0) return;
    [[maybe_unused]] const auto written = ::writev(output_, pieces.data(), static_cast<int>(pieces.size()));
}

void PosixLog::system(std::string_view line) {
    MutexLock lock(systemLock_);
    if (!socket_ && !connect()) return;
    std::array<char, 80> buffer;
    std::array pieces{piece(messageHeader(buffer)), piece(line)};
    msghdr message{};
    message.msg_iov = pieces.data();
    message.msg_iovlen = pieces.size();
    if (::sendmsg(socket_.get(), &message, MSG_DONTWAIT | MSG_NOSIGNAL) >= 0) return;
    const bool full = errno == EAGAIN || errno == EWOULDBLOCK || errno == ENOBUFS || errno == EMSGSIZE;
    if (full) return;
    socket_.reset();  // the log was started anew: its old socket is dead
    if (connect()) ::sendmsg(socket_.get(), &message, MSG_DONTWAIT | MSG_NOSIGNAL);
}

bool PosixLog::connect() {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (systemLog_.size() >= sizeof address.sun_path) return false;
    systemLog_.copy(address.sun_path, systemLog_.size());
    Descriptor socket(::socket(AF_UNIX, SOCK_DGRAM, 0));
    if (!socket) return false;
    ::fcntl(socket.get(), F_SETFD, FD_CLOEXEC);
    ::fcntl(socket.get(), F_SETFL, O_NONBLOCK);  // connecting to a full socket would wait as well
    if (::connect(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) return false;
    socket_ = std::move(socket);
    return true;
}

}  // namespace zqm
