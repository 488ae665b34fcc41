#pragma once

#include <future>
#include <optional>
#include <variant>

#include "Client/HelperClient.h"
#include "Client/Watch/WakePipe.h"

namespace zqm {

/// Asks the helper in the background, one question at a time, so that a silent helper never holds up the screen. The
/// destructor waits for a question that is under way, `patience` at most.
class SnapshotFeed {
public:
    using Answer = std::variant<SnapshotReply, HelperError>;
    static constexpr Seconds patience{1};

    explicit SnapshotFeed(std::uint16_t port) : helper_(port) {}

    /// Does nothing while a question is under way.
    void ask();
    /// Readable when there is an answer.
    int descriptor() const { return answered_.readEnd(); }
    std::optional<Answer> take();

private:
    HelperClient helper_;
    WakePipe answered_;
    std::future<Answer> answer_;
};

}  // namespace zqm
