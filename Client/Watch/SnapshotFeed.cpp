#include "Client/Watch/SnapshotFeed.h"

#include <signal.h>

#include <system_error>

namespace zqm {

void SnapshotFeed::ask() {
    if (answer_.valid()) return;
    const auto question = [this] {
        sigset_t all;
        ::sigfillset(&all);
        ::pthread_sigmask(SIG_BLOCK, &all, nullptr);  // signals are the main thread's
        Answer answer = helper_.snapshot(patience);
        answered_.put('a');
        return answer;
    };
    try {
        answer_ = std::async(std::launch::async, question);
    } catch (const std::system_error&) {  // no thread to be had: asked again at the next turn
    }
}

std::optional<SnapshotFeed::Answer> SnapshotFeed::take() {
    if (!answered_.take() || !answer_.valid()) return std::nullopt;
    return answer_.get();
}

}  // namespace zqm
