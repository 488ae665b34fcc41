#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>

#include "Platform/Posix/PosixLog.h"
#include "Platform/Posix/PosixProcess.h"
#include "tests/fakes/TemporaryTree.h"

namespace zqm {
namespace {

/// What there is to read now.
std::string taken(const Descriptor& from) {
    ::fcntl(from.get(), F_SETFL, O_NONBLOCK);
    std::string all(1 << 20, '\0');
    const auto count = ::read(from.get(), all.data(), all.size());
    all.resize(static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
    return all;
}

TEST(Log, PrintingDropsLinesThatNobodyTakes) {
    ignoreWriteSignals();
    int ends[2];
    ASSERT_EQ(::pipe(ends), 0);
    Descriptor reader(ends[0]);
    const Descriptor writer(ends[1]);
    PosixLog log(writer.get(), "/nowhere");
    log.print("first");
    for (int i = 0; i < 1000; ++i) log.print(std::string(5000, 'x'));  // far more than a pipe holds
    const std::string lines = taken(reader);
    EXPECT_TRUE(lines.starts_with("first\nxxx") && lines.ends_with("x\n"));
    log.print("after the jam");
    EXPECT_EQ(taken(reader), "after the jam\n");
    reader.reset();
    log.print("to nobody");
    log.system("to nobody");
}

TEST(Log, TheSystemLogIsFoundAgainAfterItsRestart) {
    const TemporaryTree tree;
    PosixLog log(STDOUT_FILENO, tree.path("log"));
    for (const char* line : {"hello", "again"}) {
        tree.remove("log");
        const Descriptor socket(::socket(AF_UNIX, SOCK_DGRAM, 0));
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        tree.path("log").copy(address.sun_path, sizeof address.sun_path - 1);
        ASSERT_EQ(::bind(socket.get(), reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
        log.system(line);
        EXPECT_THAT(
            taken(socket),
            testing::MatchesRegex("<15>[A-Z][a-z]{2} [ 0-9]{2} [0-9:]{8} ZQMHelper\\[[0-9]+\\]: " + std::string(line)));
        for (int i = 0; i < 10000; ++i) log.system("a full log drops lines, it does not block");
    }
}

}  // namespace
}  // namespace zqm
