#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>

#include <filesystem>
#include <thread>

#include "Platform/Posix/PosixCommands.h"

namespace zqm {
namespace {

constexpr Seconds longEnough{60};

auto openDescriptors() {
    return std::distance(std::filesystem::directory_iterator("/dev/fd"), {});
}

/// Each child must leave neither a zombie nor a descriptor behind.
struct Commands : testing::Test {
    ~Commands() override {
        EXPECT_EQ(::waitpid(-1, nullptr, WNOHANG), -1);
        EXPECT_EQ(openDescriptors(), descriptors_);
    }

    std::unique_ptr<Child> shell(const std::string& script) { return commands_.launch("/bin/sh", {"-c", script}); }

    static std::string readAll(Child& child, const char* end = nullptr) {
        std::string output;
        while (const auto piece = child.read(longEnough)) {
            output += *piece;
            if (end && output.find(end) != std::string::npos) break;
        }
        return output;
    }

    PosixCommands commands_;
    const std::ptrdiff_t descriptors_ = openDescriptors();
};

TEST_F(Commands, GiveTheOutputWhole) {
    for (const auto& [script, output] : std::initializer_list<std::pair<const char*, std::string>>{
             {"printf 'a b\\nc'; printf lost >&2; exit 3", "a b\nc"},
             {"exec >&-; sleep 0.05", ""},  // runs on without its output
             {"printf a; kill -KILL $$", "a"},
             {"cat; printf after", "after"},  // nothing to read
             {"head -c 10000000 /dev/zero | tr '\\0' x", std::string(10000000, 'x')},
         }) {
        const auto child = shell(script);
        EXPECT_TRUE(readAll(*child) == output) << script;
        EXPECT_FALSE(child->isRunning());
        EXPECT_EQ(child->read(longEnough), std::nullopt);
    }
    EXPECT_EQ(readAll(*commands_.launch("/bin/echo", {"two words", "", "$HOME"})), "two words  $HOME\n");
    for (const char* path : {"/nonexistent/program", "/etc/passwd"}) EXPECT_FALSE(commands_.launch(path, {})) << path;
}

TEST_F(Commands, StartWithCleanSignalsAndDescriptors) {
    const std::string alone = readAll(*commands_.launch("/bin/ls", {"/dev/fd/"}));
    const auto other = shell("exec sleep 1000");
    EXPECT_EQ(readAll(*commands_.launch("/bin/ls", {"/dev/fd/"})), alone) << "the other's pipe is inherited";
    sigset_t all, previous;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &previous);
    const auto previousHandler = ::signal(SIGPIPE, SIG_IGN);
    const auto child = commands_.launch("/bin/grep", {"-E", "^Sig(Blk|Ign)", "/proc/self/status"});
    ::signal(SIGPIPE, previousHandler);
    pthread_sigmask(SIG_SETMASK, &previous, nullptr);
    // Nothing is blocked, and the thirteenth signal is not ignored.
    EXPECT_THAT(readAll(*child), testing::MatchesRegex("SigBlk:\t0{16}\nSigIgn:\t[0-9a-f]{12}[02468ace][0-9a-f]{3}\n"));
}

TEST_F(Commands, ReadWaitsNoLongerThanItsPatienceAndLosesNothing) {
    const auto child = shell("trap 'printf late; exit' TERM; echo; while :; do sleep 0.01; done");
    EXPECT_EQ(readAll(*child, "\n"), "\n");
    for (const double patience : {0.0, 0.02}) EXPECT_EQ(child->read(Seconds(patience)), "");
    EXPECT_TRUE(child->isRunning());
    child->terminate();
    EXPECT_EQ(readAll(*child), "late");
}

TEST_F(Commands, EndWhenKilledOrDropped) {
    const auto child = shell("trap '' TERM; echo $$; while :; do sleep 0.01; done");
    const pid_t pid = static_cast<pid_t>(std::stoi(readAll(*child, "\n")));
    ::kill(pid, SIGSTOP);
    ASSERT_EQ(::waitpid(pid, nullptr, WUNTRACED), pid);
    child->terminate();
    EXPECT_EQ(child->read(Seconds(0.05)), "");
    EXPECT_TRUE(child->isRunning());
    child->kill();
    EXPECT_EQ(child->read(longEnough), std::nullopt);
    child->kill();
    shell("exec sleep 1000");  // dropped while it runs
}

TEST_F(Commands, AGrandchildDoesNotKeepAReaderWaiting) {
    const auto child = shell("sleep 1000 & printf %d $!");
    ::kill(static_cast<pid_t>(std::stoi(readAll(*child))), SIGKILL);
    const auto parent = shell("yes & exit");
    while (parent->isRunning()) std::this_thread::yield();
    EXPECT_LE(readAll(*parent).size(), 65536u);  // what a pipe holds
}

}  // namespace
}  // namespace zqm
