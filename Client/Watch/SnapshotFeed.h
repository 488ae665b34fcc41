#pragma once

#include <future>
#include <optional>
#include <variant>

#include "Client/HelperClient.h"
#include "Client/ThisMachine.h"
#include "Client/Watch/WakePipe.h"

namespace zqm {

/// Asks the helper in the background, one question at a time, so that a silent helper never holds up the screen. The
/// destructor waits for a question that is under way, `patience` at most.
///
/// Where the drivers of this machine's cards count for processes, their ranking takes the place of the helper's
/// estimate.
class SnapshotFeed {
public:
    struct Sight {
        SnapshotReply reply;
        bool isGraphicsCounted = false;
        std::optional<MachineFacts> facts;
    };
    using Answer = std::variant<Sight, HelperError>;
    static constexpr Seconds patience{1};

    SnapshotFeed(std::uint16_t port, std::string_view root) : helper_(port), machine_(root) {}

    /// Does nothing while a question is under way.
    void ask();
    /// Readable when there is an answer.
    int descriptor() const { return answered_.readEnd(); }
    std::optional<Answer> take();

private:
    Answer answer();

    HelperClient helper_;
    ThisMachine machine_;  // these two belong to the question under way
    GraphicsRanking graphics_;
    WakePipe answered_;
    std::future<Answer> answer_;
};

}  // namespace zqm
