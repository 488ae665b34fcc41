#include "Platform/Posix/Sockets.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netdb.h>
#include <netinet/in.h>
#include <sys/resource.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <limits>
#include <string>

namespace zqm {
namespace {

#if defined(SOCK_CLOEXEC) && !defined(ZQM_PLAIN_POSIX)
Descriptor openSocket(int family) {
    return Descriptor(::socket(family, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
}
Descriptor acceptFrom(int listening) {
    return Descriptor(::accept4(listening, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
}
#else
Descriptor prepared(int socket) {
    if (socket >= 0) {
        ::fcntl(socket, F_SETFD, FD_CLOEXEC);
        ::fcntl(socket, F_SETFL, O_NONBLOCK);
    }
    return Descriptor(socket);
}
Descriptor openSocket(int family) {
    return prepared(::socket(family, SOCK_STREAM, 0));
}
Descriptor acceptFrom(int listening) {
    return prepared(::accept(listening, nullptr, nullptr));
}
#endif

Descriptor listenAt(const sockaddr* address, socklen_t size) {
    auto socket = openSocket(address->sa_family);
    if (!socket) return socket;
    const int on = 1;
    ::setsockopt(socket.get(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    if (::bind(socket.get(), address, size) != 0 || ::listen(socket.get(), SOMAXCONN) != 0) {
        const int error = errno;
        socket.reset();
        errno = error;
    }
    return socket;
}

}  // namespace

Descriptor listenOnLoopback(std::uint16_t port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return listenAt(reinterpret_cast<const sockaddr*>(&address), sizeof address);
}

Descriptor listenOn(const std::string& address, std::uint16_t port) {
    addrinfo wanted{};
    wanted.ai_flags = AI_NUMERICHOST | AI_NUMERICSERV | AI_PASSIVE;
    wanted.ai_socktype = SOCK_STREAM;
    addrinfo* found = nullptr;
    if (::getaddrinfo(address.c_str(), std::to_string(port).c_str(), &wanted, &found) != 0) {
        errno = EADDRNOTAVAIL;
        return Descriptor();
    }
    auto socket = listenAt(found->ai_addr, found->ai_addrlen);
    const int error = errno;
    ::freeaddrinfo(found);
    errno = error;
    return socket;
}

Descriptor acceptConnection(int listening) {
    return acceptFrom(listening);
}

std::uint16_t boundPort(int socket) {
    sockaddr_storage address{};
    socklen_t size = sizeof address;
    if (::getsockname(socket, reinterpret_cast<sockaddr*>(&address), &size) != 0) return 0;
    if (address.ss_family == AF_INET6) return ntohs(reinterpret_cast<const sockaddr_in6&>(address).sin6_port);
    return ntohs(reinterpret_cast<const sockaddr_in&>(address).sin_port);
}

std::size_t connectionLimit() {
    rlimit files{};
    if (::getrlimit(RLIMIT_NOFILE, &files) != 0 || files.rlim_cur == RLIM_INFINITY) {
        return std::numeric_limits<std::size_t>::max();
    }
    const auto limit = static_cast<std::size_t>(files.rlim_cur);
    const std::size_t reserve = std::clamp<std::size_t>(limit / 2, 16, 64);
    return limit > reserve ? limit - reserve : 1;
}

std::optional<std::uint32_t> parseIPv4(std::string_view text) {
    in_addr address{};
    if (::inet_pton(AF_INET, std::string(text).c_str(), &address) != 1) return std::nullopt;
    return ntohl(address.s_addr);
}

}  // namespace zqm
