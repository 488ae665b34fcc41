#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <array>
#include <filesystem>

#include "Platform/Posix/PosixLog.h"
#include "Platform/Posix/PosixProcess.h"

namespace zqm {
namespace {

namespace fs = std::filesystem;
using testing::MatchesRegex;

class LogTest : public testing::Test {
protected:
    LogTest() {
        std::string pattern = (fs::temp_directory_path() / "zqm-log-XXXXXX").string();
        directory = ::mkdtemp(pattern.data());
    }
    ~LogTest() override { fs::remove_all(directory); }

    fs::path directory;
};

TEST_F(LogTest, PrintingDropsLinesThatNobodyTakes) {
    ignoreWriteSignals();
    int ends[2];
    ASSERT_EQ(::pipe(ends), 0);
    Descriptor reader(ends[0]);
    const Descriptor writer(ends[1]);
    PosixLog log(writer.get(), directory / "none");
    log.print("first");
    for (int i = 0; i < 1000; ++i) log.print(std::string(5000, 'x'));  // far more than a pipe holds
    ::fcntl(reader.get(), F_SETFL, O_NONBLOCK);
    std::string taken;
    std::array<char, 65536> block;
    for (ssize_t count; (count = ::read(reader.get(), block.data(), block.size())) > 0;) {
        taken.append(block.data(), static_cast<std::size_t>(count));
    }
    EXPECT_TRUE(taken.starts_with("first\nxxx"));
    EXPECT_TRUE(taken.ends_with("x\n"));
    log.print("after the jam");
    EXPECT_EQ(::read(reader.get(), block.data(), block.size()), 14);
    reader.reset();
    log.print("to nobody");
    log.system("to nobody");
}

TEST_F(LogTest, TheSystemLogIsFoundAgainAfterItsRestart) {
    PosixLog log(STDOUT_FILENO, directory / "log");
    const auto serve = [&] {
        Descriptor socket(::socket(AF_UNIX, SOCK_DGRAM | SOCK_NONBLOCK, 0));
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        (directory / "log").string().copy(address.sun_path, sizeof address.sun_path - 1);
        fs::remove(directory / "log");
        EXPECT_EQ(::bind(socket.get(), reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
        return socket;
    };
    const auto received = [](const Descriptor& socket) {
        std::array<char, 512> block;
        const auto count = ::recv(socket.get(), block.data(), block.size(), 0);
        return count < 0 ? "" : std::string(block.data(), static_cast<std::size_t>(count));
    };
    auto first = serve();
    log.system("hello");
    EXPECT_THAT(received(first), MatchesRegex("<15>[A-Z][a-z]{2} [ 0-9]{2} [0-9:]{8} ZQMHelper\\[[0-9]+\\]: hello"));
    first.reset();
    const auto second = serve();
    log.system("again");
    EXPECT_THAT(received(second), testing::EndsWith(": again"));
    for (int i = 0; i < 10000; ++i) log.system("a full log drops lines, it does not block");
}

}  // namespace
}  // namespace zqm
