#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>

#include <cerrno>
#include <chrono>
#include <filesystem>

#include "Platform/Posix/PosixCommands.h"

namespace zqm {
namespace {

constexpr Seconds longEnough{60};

std::ptrdiff_t openDescriptors() {
    return std::distance(std::filesystem::directory_iterator("/dev/fd"), {});
}

/// Each child must leave neither a zombie nor a descriptor behind.
class Commands : public testing::Test {
protected:
    ~Commands() override {
        EXPECT_EQ(::waitpid(-1, nullptr, WNOHANG), -1);
        EXPECT_EQ(errno, ECHILD);
        EXPECT_EQ(openDescriptors(), descriptors_);
    }

    std::unique_ptr<Child> shell(const std::string& script) { return commands_.launch("/bin/sh", {"-c", script}); }

    static std::string readAll(Child& child) {
        std::string output;
        while (const auto piece = child.read(longEnough)) output += *piece;
        return output;
    }

    static std::string readLine(Child& child) {
        std::string output;
        while (output.find('\n') == std::string::npos) output += child.read(longEnough).value();
        return output;
    }

    PosixCommands commands_;

private:
    std::ptrdiff_t descriptors_ = openDescriptors();
};

TEST_F(Commands, GiveTheOutputWhole) {
    const struct {
        const char* script;
        std::string output;
    } cases[] = {
        {"printf 'a b\\nc'; printf lost >&2; exit 3", "a b\nc"},
        {"exit 0", ""},
        {"exec >&-; sleep 0.05", ""},  // runs on without its output
        {"printf a; kill -KILL $$", "a"},
        {"cat; printf after", "after"},  // nothing to read
        {"head -c 10000000 /dev/zero | tr '\\0' x", std::string(10000000, 'x')},
    };
    for (const auto& [script, output] : cases) {
        const auto child = shell(script);
        ASSERT_TRUE(child) << script;
        EXPECT_TRUE(readAll(*child) == output) << script;
        EXPECT_FALSE(child->isRunning());
        EXPECT_EQ(child->read(longEnough), std::nullopt);
    }
    const auto child = commands_.launch("/bin/echo", {"two words", "", "$HOME"});
    EXPECT_EQ(readAll(*child), "two words  $HOME\n");
}

TEST_F(Commands, StartWithCleanSignals) {
    sigset_t all;
    sigset_t previous;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &previous);
    const auto previousHandler = ::signal(SIGPIPE, SIG_IGN);
    const auto child = commands_.launch("/bin/grep", {"-E", "^Sig(Blk|Ign)", "/proc/self/status"});
    ::signal(SIGPIPE, previousHandler);
    pthread_sigmask(SIG_SETMASK, &previous, nullptr);
    const std::string text = readAll(*child);
    EXPECT_THAT(text, testing::StartsWith("SigBlk:\t0000000000000000\n"));
    const std::size_t ignored = text.find("SigIgn:\t");
    ASSERT_NE(ignored, std::string::npos);
    EXPECT_EQ(std::stoull(text.substr(ignored + 8), nullptr, 16) & (1u << (SIGPIPE - 1)), 0u);
}

TEST_F(Commands, InheritNoDescriptorOfOurs) {
    const std::string alone = readAll(*commands_.launch("/bin/ls", {"/dev/fd/"}));
    const auto other = shell("exec sleep 1000");
    EXPECT_EQ(readAll(*commands_.launch("/bin/ls", {"/dev/fd/"})), alone);
    EXPECT_THAT(alone, testing::StartsWith("0\n1\n"));
}

TEST_F(Commands, CannotStartWhatIsNoProgram) {
    for (const char* path : {"/nonexistent/program", "/etc/passwd", "/tmp", ""}) {
        EXPECT_FALSE(commands_.launch(path, {})) << path;
    }
}

TEST_F(Commands, ReadWaitsNoLongerThanItsPatience) {
    const auto child = shell("exec sleep 1000");
    EXPECT_EQ(child->read(Seconds(0)), "");
    EXPECT_EQ(child->read(Seconds(0.02)), "");
    EXPECT_TRUE(child->isRunning());
    child->terminate();
    EXPECT_EQ(child->read(longEnough), std::nullopt);
}

TEST_F(Commands, EndWhenKilled) {
    for (const bool stopped : {false, true}) {
        const auto child = shell("trap '' TERM; echo $$; while :; do sleep 0.01; done");
        const pid_t pid = static_cast<pid_t>(std::stoi(readLine(*child)));
        if (stopped) {
            ::kill(pid, SIGSTOP);
            ASSERT_EQ(::waitpid(pid, nullptr, WUNTRACED), pid);
        }
        child->terminate();
        EXPECT_EQ(child->read(Seconds(0.05)), "");
        EXPECT_TRUE(child->isRunning());
        child->kill();
        EXPECT_EQ(child->read(longEnough), std::nullopt);
        child->terminate();
        child->kill();
    }
    shell("exec sleep 1000");  // dropped while it runs
}

TEST_F(Commands, AGrandchildDoesNotKeepAReaderWaiting) {
    const char* const scripts[] = {"sleep 1000 & printf %d $!", "(while :; do echo; done) & printf %d $!"};
    for (const char* script : scripts) {
        const auto child = shell(script);
        std::string numbers = readAll(*child);
        EXPECT_FALSE(child->isRunning());
        std::erase(numbers, '\n');
        ::kill(static_cast<pid_t>(std::stoi(numbers)), SIGKILL);
    }
}

}  // namespace
}  // namespace zqm
