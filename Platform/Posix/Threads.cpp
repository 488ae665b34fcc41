#include "Platform/Posix/Threads.h"

#include <signal.h>

#include <memory>
#include <string>
#include <utility>

namespace zqm {
namespace {

constexpr std::size_t stackSize = 512 * 1024;  // of address space; only the pages that are touched cost memory

struct Start {
    std::string name;
    std::function<void()> body;
};

void* run(void* argument) noexcept {
    const std::unique_ptr<Start> start(static_cast<Start*>(argument));
    nameThisThread(start->name);
    start->body();
    return nullptr;
}

}  // namespace

std::optional<pthread_t> startThread(std::string_view name, std::function<void()> body) {
    auto start = std::make_unique<Start>(Start{std::string(name), std::move(body)});
    pthread_attr_t attributes;
    if (pthread_attr_init(&attributes) != 0) return std::nullopt;
    pthread_attr_setstacksize(&attributes, stackSize);
    sigset_t all;
    sigset_t previous;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &previous);  // inherited by the new thread
    pthread_t thread;
    const int error = pthread_create(&thread, &attributes, run, start.get());
    pthread_sigmask(SIG_SETMASK, &previous, nullptr);
    pthread_attr_destroy(&attributes);
    if (error != 0) return std::nullopt;
    static_cast<void>(start.release());  // the thread's now
    return thread;
}

void nameThisThread(std::string_view name) {
    constexpr std::size_t longest = 15;
    const std::string kept(name.substr(name.size() - std::min(name.size(), longest)));
#if defined(__APPLE__)
    pthread_setname_np(kept.c_str());
#else
    pthread_setname_np(pthread_self(), kept.c_str());
#endif
}

}  // namespace zqm
