#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sched.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include "Platform/Linux/Processes/LinuxProcessTable.h"
#include "Platform/Posix/Descriptor.h"
#include "tests/fakes/TemporaryTree.h"
#include "tests/fakes/VirtualClock.h"

namespace zqm {
namespace {

const std::string titles =
    "  sl  local_address rem_address   st tx_queue rx_queue tr tm->when retrnsmt   uid  timeout inode\n";

std::string line(std::uint64_t inode) {
    return "   0: 0500000A:0016 00000000:0000 0A 00000000:00000001 00:00000000 00000000     0        0 " +
           std::to_string(inode) + " 1 ffff88003d3af3c0 100 0 0 10 0\n";
}

std::string socket(std::uint64_t inode) {
    return "socket:[" + std::to_string(inode) + "]";
}

struct LinuxSocketTest : testing::Test {
    void addTable(const char* name, const std::vector<std::uint64_t>& inodes) {
        std::string text(titles);
        for (const std::uint64_t inode : inodes) text += line(inode);
        tree.write("proc/net/" + std::string(name), text);
    }
    void addProcess(int pid, const std::vector<std::string>& links, int startTime = 5, int ticks = 2) {
        const std::string directory = "proc/" + std::to_string(pid);
        tree.write(directory + "/stat", "1 (p) S 1 1 1 1 1 1 1 1 1 1 " + std::to_string(ticks) + " 2 2 2 2 2 2 2 " +
                                            std::to_string(startTime) + " 1 1 1\n");
        tree.remove(directory + "/fd");
        std::filesystem::create_directories(tree.path(directory + "/fd"));
        int number = 0;
        for (const auto& link : links)
            std::filesystem::create_symlink(link, tree.path(directory + "/fd/" + std::to_string(number++)));
    }
    /// "10 3, 12 1, ": the processes, each with its sockets; "?" when they cannot be counted.
    std::string counts() {
        table.processes();
        const auto owners = table.socketOwners();
        std::string text = owners ? "" : "?";
        for (const SocketOwner& owner : owners.value_or(std::vector<SocketOwner>{}))
            text += std::to_string(owner.pid) + " " + std::to_string(owner.sockets) + ", ";
        return text;
    }

    TemporaryTree tree;
    VirtualClock clock;
    RootDirectory root{tree.root()};
    LinuxProcessTable table{root, clock};
};

TEST_F(LinuxSocketTest, EveryDescriptorOfAnInternetSocketCounts) {
    addTable("tcp", {100, 101, 0, 0});
    addTable("tcp6", {200});
    addTable("udp", {300, 100});
    addTable("udp6", {});
    addProcess(10, {"/dev/null", socket(100), socket(100), socket(300), "pipe:[101]", "anon_inode:[eventpoll]"});
    addProcess(11,
               {socket(400), socket(0), "socket:[", "socket:[x]", "socket:[100", "socket:[-100]", socket(100) + "x"});
    addProcess(12, {socket(200), "/" + std::string(200, 'x')});
    addProcess(13, {});
    addProcess(14, {socket(100)});
    tree.remove("proc/14/fd");
    EXPECT_EQ(counts(), "10 3, 12 1, ");
    addTable("tcp6", {});
    addProcess(13, {socket(101)});
    for (int call = 0; call < 5; ++call) counts();  // until it is the turn of each
    EXPECT_EQ(counts(), "10 3, 13 1, ");
}

TEST_F(LinuxSocketTest, TablesMayBeMalformedOrMissing) {
    addProcess(10, {socket(2740), socket(27)});
    EXPECT_EQ(counts(), "?");
    for (const std::string& text : {std::string(), titles, std::string("   1: 00000000:0016 00000000:0000 0A\n"),
                                    line(2740).substr(0, line(2740).find("40 1")), std::string("\n\n \n\0\n", 6)}) {
        tree.write("proc/net/tcp", text);
        EXPECT_EQ(counts(), "") << text;
        tree.write("proc/net/tcp", text + "\n" + line(2740));
        EXPECT_EQ(counts().find("10 "), 0u) << text;
    }
    tree.write("proc/net/tcp", std::string(200'000, 'x'));
    EXPECT_EQ(counts(), "?");
    tree.remove("proc/net/tcp");
    tree.write("proc/net/tcp/directory", "");
    addTable("udp", {27});
    EXPECT_EQ(counts(), "?");
}

TEST_F(LinuxSocketTest, WhatTakesTooLongIsSpreadOverCalls) {
    addTable("tcp", {1});
    EXPECT_EQ(counts(), "") << "the first call, which has more time";
    addProcess(10, std::vector<std::string>(40, socket(1)));
    addProcess(11, {socket(1)});
    clock.perLook = Seconds(0.001);
    EXPECT_EQ(counts(), "") << "15 of 40 descriptors";
    EXPECT_EQ(counts(), "11 1, ") << "nobody waits for 10";
    for (int call = 3; call < 7; ++call) counts();
    EXPECT_EQ(counts(), "10 40, 11 1, ");
    addProcess(10, std::vector<std::string>(40, socket(1)), 5, 3);
    counts();
    addProcess(10, {socket(1)}, 6);  // another process in the middle of the visit
    EXPECT_EQ(counts(), "10 1, 11 1, ");
}

TEST_F(LinuxSocketTest, WhoSleepsIsLookedAtInTurn) {
    addTable("tcp", {1});
    for (int pid = 10; pid < 60; ++pid) addProcess(pid, {socket(2)});
    EXPECT_EQ(counts(), "");
    for (int pid = 10; pid < 60; ++pid) addProcess(pid, {socket(1)}, 5, pid == 58 ? 3 : 2);
    addProcess(59, std::vector<std::string>(1000, socket(1)));  // a directory of another size on any file system
    EXPECT_EQ(counts(), "13 1, 14 1, 15 1, 58 1, 59 1000, ");
    for (int call = 2; call < 17; ++call) counts();
    const auto all = counts();
    EXPECT_EQ(std::count(all.begin(), all.end(), ','), 50);
}

TEST(SocketOwners, HaveThoseOfOtherNetworkNamespacesToo) {
    const pid_t child = ::fork();
    if (child == 0) {
        if (::unshare(CLONE_NEWUSER | CLONE_NEWNET) != 0) ::_exit(1);
        for (const int type : {SOCK_STREAM, SOCK_DGRAM}) ::socket(AF_INET, type, 0);
        ::raise(SIGSTOP);
    }
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, WUNTRACED), child);
    if (!WIFSTOPPED(status)) GTEST_SKIP() << "this user may make no namespace";
    VirtualClock clock;
    const RootDirectory root("/");
    const auto owners = LinuxProcessTable(root, clock).socketOwners().value();
    ::kill(child, SIGKILL);
    ::waitpid(child, nullptr, 0);
    const auto owner = std::find_if(owners.begin(), owners.end(), [&](const auto& any) { return any.pid == child; });
    ASSERT_NE(owner, owners.end());
    EXPECT_EQ(owner->sockets, 2u);
}

TEST(SocketInodes, OfThisMachineHoldThoseOfThisProcess) {
    std::vector<Descriptor> sockets;
    for (const int type : {SOCK_STREAM, SOCK_DGRAM}) {
        for (const sa_family_t family : {AF_INET, AF_INET6}) {
            Descriptor socket(::socket(family, type | SOCK_CLOEXEC, 0));
            const sockaddr_in6 any{
                .sin6_family = family, .sin6_port = 0, .sin6_flowinfo = 0, .sin6_addr = {}, .sin6_scope_id = 0};
            if (::bind(socket.get(), reinterpret_cast<const sockaddr*>(&any), sizeof any) != 0) continue;
            ::listen(socket.get(), 1);
            sockets.push_back(std::move(socket));
        }
    }
    ASSERT_GE(sockets.size(), 2U);  // where there is no IPv6
    const std::size_t inet = sockets.size();
    sockets.emplace_back(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockets.emplace_back(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));  // with an address, but unused
    const sockaddr_in any{.sin_family = AF_INET, .sin_port = 0, .sin_addr = {}, .sin_zero = {}};
    ASSERT_EQ(::bind(sockets.back().get(), reinterpret_cast<const sockaddr*>(&any), sizeof any), 0);
    for (const char* directory : {"/", "/proc/self/root"}) {  // by the kernel's dumps and by its tables
        const RootDirectory root(directory);
        SocketInodes inodes(root);
        ASSERT_TRUE(inodes.read());
        for (std::size_t i = 0; i < sockets.size(); ++i) {
            struct stat information {};
            ::fstat(sockets[i].get(), &information);
            EXPECT_EQ(inodes.contains(information.st_ino), i < inet) << directory;
        }
    }
}

}  // namespace
}  // namespace zqm
