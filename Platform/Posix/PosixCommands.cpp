#include "Platform/Posix/PosixCommands.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/ioctl.h>
#include <sys/wait.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cmath>
#include <utility>

#if defined(__linux__) && !defined(ZQM_PLAIN_POSIX)
#include <sys/syscall.h>
#elif defined(__APPLE__)
#include <sys/event.h>
#endif

#include "Platform/Posix/Descriptor.h"

extern char** environ;  // not declared by every system's headers

namespace zqm {
namespace {

constexpr Seconds longestPatience{3600};
constexpr Seconds slice{0.01};  // between two looks at a child whose end cannot be waited for together with its output

// Where a descriptor cannot be private from its first moment, a child could inherit what another thread just opened.
#if defined(POSIX_SPAWN_CLOEXEC_DEFAULT)
constexpr short inheritance = POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_CLOEXEC_DEFAULT;
#else
constexpr short inheritance = POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF;
#endif

struct Pipe {
    Descriptor reading, writing;
};

Pipe makePipe() {
    std::array<int, 2> ends{-1, -1};
#if defined(__linux__) && !defined(ZQM_PLAIN_POSIX)
    if (::pipe2(ends.data(), O_CLOEXEC) != 0) return {};
#else
    if (::pipe(ends.data()) != 0) return {};
    for (const int end : ends) ::fcntl(end, F_SETFD, FD_CLOEXEC);
#endif
    return {Descriptor(ends[0]), Descriptor(ends[1])};
}

/// Becomes readable when the process ends; none where the system has no such thing.
Descriptor openProcessEnd([[maybe_unused]] pid_t pid) {
#if defined(SYS_pidfd_open)
    return Descriptor(static_cast<int>(::syscall(SYS_pidfd_open, pid, 0)));
#elif defined(EVFILT_PROC)
    Descriptor queue(::kqueue());
    struct kevent end {};
    EV_SET(&end, static_cast<uintptr_t>(pid), EVFILT_PROC, EV_ADD, NOTE_EXIT, 0, nullptr);
    const bool isWatched = queue && ::kevent(queue.get(), &end, 1, nullptr, 0, nullptr) == 0;
    return isWatched ? std::move(queue) : Descriptor();
#else
    return {};
#endif
}

class PosixChild final : public Child {
public:
    PosixChild(pid_t pid, Descriptor output) : pid_(pid), output_(std::move(output)), end_(openProcessEnd(pid)) {}
    ~PosixChild() override {
        kill();
        reap(0);
    }
    PosixChild(const PosixChild&) = delete;
    PosixChild& operator=(const PosixChild&) = delete;

    std::optional<std::string> read(Seconds patience) override {
        using SteadyClock = std::chrono::steady_clock;
        const auto begin = SteadyClock::now();
        while (true) {
            // Asked before the output is taken: what a child that has ended wrote is all there.
            const bool ended = !isRunning();
            std::string output = takeOutput();
            if (ended) output_.reset();  // a grandchild may hold the other end for ever, and go on writing
            if (!output.empty()) return output;
            if (ended) return std::nullopt;
            const Seconds left = std::min(patience, longestPatience) - (SteadyClock::now() - begin);
            if (!(left > Seconds(0))) return std::string();
            await(left);
        }
    }

    bool isRunning() override { return reap(WNOHANG); }
    void terminate() override { send(SIGTERM); }
    void kill() override { send(SIGKILL); }

private:
    /// Whether the child still runs. Its number is its own until it is reaped here, so a signal never meets a stranger.
    bool reap(int options) {
        if (ended_) return false;
        pid_t result;
        do {
            result = ::waitpid(pid_, nullptr, options);
        } while (result < 0 && errno == EINTR);
        ended_ = result != 0;  // an error: the system reaps for a process that ignores SIGCHLD
        return !ended_;
    }

    void send(int signal) {
        if (isRunning()) ::kill(pid_, signal);
    }

    int outputSize() const {
        int size = 0;
        return output_ && ::ioctl(output_.get(), FIONREAD, &size) == 0 ? size : 0;
    }

    std::string takeOutput() {
        std::string output(static_cast<std::size_t>(outputSize()), '\0');
        if (output.empty()) return output;
        ssize_t count;
        do {
            count = ::read(output_.get(), output.data(), output.size());
        } while (count < 0 && errno == EINTR);
        output.resize(static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
        return output;
    }

    /// Waits for output, for the end of the child or for the time to pass; may return early.
    void await(Seconds time) {
        std::array<pollfd, 2> news{{{output_.get(), POLLIN, 0}, {end_.get(), POLLIN, 0}}};  // negative: not looked at
        if (!end_) time = std::min(time, slice);
        ::poll(news.data(), news.size(), static_cast<int>(std::ceil(time / std::chrono::milliseconds(1))));
        const bool closed = (news[0].revents & (POLLHUP | POLLERR | POLLNVAL)) != 0;
        if (closed && outputSize() == 0)
            output_.reset();  // else a child that closed it and runs on is polled in a spin
    }

    const pid_t pid_;
    Descriptor output_;
    Descriptor end_;
    bool ended_ = false;
};

class FileActions {
public:
    FileActions() { posix_spawn_file_actions_init(&actions_); }
    ~FileActions() { posix_spawn_file_actions_destroy(&actions_); }
    FileActions(const FileActions&) = delete;
    FileActions& operator=(const FileActions&) = delete;

    /// The pipe comes first: its descriptor may be one of the three.
    bool redirect(int output) {
        return posix_spawn_file_actions_adddup2(&actions_, output, STDOUT_FILENO) == 0 &&
               posix_spawn_file_actions_addopen(&actions_, STDIN_FILENO, "/dev/null", O_RDONLY, 0) == 0 &&
               posix_spawn_file_actions_addopen(&actions_, STDERR_FILENO, "/dev/null", O_WRONLY, 0) == 0;
    }
    const posix_spawn_file_actions_t* get() const { return &actions_; }

private:
    posix_spawn_file_actions_t actions_;
};

class SpawnAttributes {
public:
    SpawnAttributes() { posix_spawnattr_init(&attributes_); }
    ~SpawnAttributes() { posix_spawnattr_destroy(&attributes_); }
    SpawnAttributes(const SpawnAttributes&) = delete;
    SpawnAttributes& operator=(const SpawnAttributes&) = delete;

    /// This process ignores SIGPIPE and its threads block signals; both would be inherited.
    bool inheritLittle() {
        sigset_t none;
        sigset_t defaults;
        sigemptyset(&none);
        sigemptyset(&defaults);
        sigaddset(&defaults, SIGPIPE);
        return posix_spawnattr_setsigmask(&attributes_, &none) == 0 &&
               posix_spawnattr_setsigdefault(&attributes_, &defaults) == 0 &&
               posix_spawnattr_setflags(&attributes_, inheritance) == 0;
    }
    const posix_spawnattr_t* get() const { return &attributes_; }

private:
    posix_spawnattr_t attributes_;
};

}  // namespace

std::unique_ptr<Child> PosixCommands::launch(std::string_view path, const std::vector<std::string>& arguments) {
    std::vector<std::string> words{std::string(path)};
    words.insert(words.end(), arguments.begin(), arguments.end());
    std::vector<char*> pointers;
    pointers.reserve(words.size() + 1);
    for (std::string& word : words) pointers.push_back(word.data());
    pointers.push_back(nullptr);

    Pipe pipe = makePipe();
    FileActions actions;
    SpawnAttributes attributes;
    if (!pipe.writing || !actions.redirect(pipe.writing.get()) || !attributes.inheritLittle()) return nullptr;
    pid_t pid = 0;
    if (::posix_spawn(&pid, pointers[0], actions.get(), attributes.get(), pointers.data(), environ) != 0) {
        return nullptr;
    }
    return std::make_unique<PosixChild>(pid, std::move(pipe.reading));
}

}  // namespace zqm
