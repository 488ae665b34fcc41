#include "Platform/Linux/Kernel/Netlink.h"

#include <sys/socket.h>
#include <sys/uio.h>

#include <array>
#include <cerrno>

namespace zqm {

bool Netlink::send(std::uint16_t type, std::uint16_t flags, std::span<const std::byte> question) {
    if (!socket_) socket_.reset(::socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, protocol_));
    nlmsghdr header{};
    header.nlmsg_len = static_cast<std::uint32_t>(NLMSG_LENGTH(question.size()));
    header.nlmsg_type = type;
    header.nlmsg_flags = static_cast<std::uint16_t>(NLM_F_REQUEST | flags);
    header.nlmsg_seq = ++sequence_;
    std::array<iovec, 2> parts{{{&header, sizeof header}, {const_cast<std::byte*>(question.data()), question.size()}}};
    msghdr request{};
    request.msg_iov = parts.data();
    request.msg_iovlen = parts.size();
    return socket_ && ::sendmsg(socket_.get(), &request, MSG_DONTWAIT) == static_cast<ssize_t>(header.nlmsg_len);
}

bool Netlink::receive(const Take& take) {
    alignas(nlmsghdr) std::array<char, 32768> buffer;  // the kernel makes no larger pieces
    while (true) {
        const ssize_t size = ::recv(socket_.get(), buffer.data(), buffer.size(), MSG_DONTWAIT);
        if (size < 0 && errno == EINTR) continue;
        if (size <= 0) return false;
        auto rest = static_cast<std::uint32_t>(size);
        const auto* message = reinterpret_cast<const nlmsghdr*>(buffer.data());
        for (; NLMSG_OK(message, rest); message = NLMSG_NEXT(message, rest)) {
            if (message->nlmsg_seq != sequence_) continue;
            if (message->nlmsg_type == NLMSG_DONE) return recordOf<int>(*message).value_or(0) >= 0;
            if (message->nlmsg_type == NLMSG_ERROR) {  // an error of 0 is an acknowledgement
                const auto answer = recordOf<nlmsgerr>(*message);
                return answer && answer->error == 0;
            }
            take(*message);
        }
    }
}

}  // namespace zqm
