#include "Client/Watch/SnapshotFeed.h"

#include <signal.h>

#include <system_error>

namespace zqm {

void SnapshotFeed::ask() {
    if (answer_.valid()) return;
    const auto question = [this] {
        sigset_t all;
        sigfillset(&all);
        ::pthread_sigmask(SIG_BLOCK, &all, nullptr);  // signals are the main thread's
        Answer answer = this->answer();
        answered_.put('a');
        return answer;
    };
    try {
        answer_ = std::async(std::launch::async, question);
    } catch (const std::system_error&) {  // no thread to be had: asked again at the next turn
    }
}

SnapshotFeed::Answer SnapshotFeed::answer() {
    auto answer = helper_.snapshot(patience);
    if (auto* error = std::get_if<HelperError>(&answer)) return std::move(*error);
    Sight sight{std::get<SnapshotReply>(std::move(answer)), false, {}};
    MachineDetails* const details = machine_.detailsBeside(sight.reply.snapshot);
    machine_.dropEnded(sight.reply);
    auto counted = details ? graphics_.look(*details) : std::nullopt;
    if (counted) {
        sight.reply.processes[static_cast<std::size_t>(ProcessCategory::gpu)] = std::move(*counted);
        sight.isGraphicsCounted = true;
    }
    sight.facts = machine_.factsBeside(sight.reply.snapshot);
    return sight;
}

std::optional<SnapshotFeed::Answer> SnapshotFeed::take() {
    if (!answered_.take() || !answer_.valid()) return std::nullopt;
    return answer_.get();
}

}  // namespace zqm
