#pragma once

#include <linux/netlink.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <optional>
#include <span>

#include "Platform/Posix/Descriptor.h"

namespace zqm {

/// Asks the kernel over netlink. Nothing is ever waited for: the kernel has the next piece of an answer ready before it
/// hands one out. One thread at a time.
class Netlink {
public:
    using Take = std::function<void(const nlmsghdr&)>;

    /// `protocol`: whom to ask, such as NETLINK_ROUTE.
    explicit Netlink(int protocol) : protocol_(protocol) {}

    /// Sends `question`, the plain record that messages of this type begin with, and calls `take` with each message of
    /// the answer up to its end, which NLM_F_DUMP and NLM_F_ACK in `flags` ask for. False when the kernel refuses or
    /// the answer breaks off; `take` may have been called by then.
    template <class Question>
    bool ask(std::uint16_t type, std::uint16_t flags, const Question& question, const Take& take) {
        const bool isWhole =
            send(type, flags, std::as_bytes(std::span<const Question, 1>(&question, 1))) && receive(take);
        if (!isWhole) socket_.reset();  // with whatever was still to come
        return isWhole;
    }

private:
    bool send(std::uint16_t type, std::uint16_t flags, std::span<const std::byte> question);
    bool receive(const Take& take);

    const int protocol_;
    Descriptor socket_;  // kept open
    std::uint32_t sequence_ = 0;
};

/// The record that a message begins with; nullopt when the message is too short for one.
template <class Record>
std::optional<Record> recordOf(const nlmsghdr& message) {
    if (message.nlmsg_len < NLMSG_LENGTH(sizeof(Record))) return std::nullopt;
    Record record;
    std::memcpy(&record, NLMSG_DATA(&message), sizeof record);
    return record;
}

}  // namespace zqm
