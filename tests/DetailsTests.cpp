#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cmath>

#include "Client/ThisMachine.h"
#include "Platform/Linux/LinuxMachine.h"
#include "tests/fakes/MachinePlatform.h"
#include "tests/fakes/TemporaryTree.h"
#include "tests/fakes/mac/MacDouble.h"

namespace zqm {
namespace {

using testing::DoubleNear;
using testing::ElementsAre;
using testing::FieldsAre;

/// A machine whose processes hold descriptors of cards.
struct GraphicsUsersTest : testing::Test {
    void process(int pid, std::string_view name, std::string_view target, std::vector<std::string> clients) {
        const std::string directory = "proc/" + std::to_string(pid) + "/";
        tree.write(directory + "stat", std::to_string(pid) + " (" + std::string(name) +
                                           ") S 1 2 3 0 -1 4194560 1 2 3 4 5 6 7 8 20 0 1 0 900 56274944 15 18446 1\n");
        std::filesystem::create_directories(tree.path(directory + "fd"));
        for (std::size_t i = 0; i < clients.size(); ++i) {
            const std::string number = std::to_string(i + 3);
            std::filesystem::remove(tree.path(directory + "fd/" + number));
            std::filesystem::create_symlink(target, tree.path(directory + "fd/" + number));
            tree.write(directory + "fdinfo/" + number, clients[i]);
        }
    }
    TemporaryTree tree;
    VirtualClock clock;
    RootDirectory root{tree.root()};
    PosixSettings environment;
    LinuxReadings readings{root, environment, clock, ""};
    LinuxDetails details{root, readings, clock, ZQM_FAKE_NVML};
};

std::string client(int id, std::string_view figures) {
    return "pos:\t0\ndrm-driver:\tmade\ndrm-pdev:\t0000:03:00.0\ndrm-client-id:\t" + std::to_string(id) + "\n" +
           std::string(figures);
}

TEST_F(GraphicsUsersTest, AreRankedByTheirBusiestEngine) {
    const auto write = [&](int second) {
        const auto count = [second](std::uint64_t perSecond) { return std::to_string(1000 + perSecond * second); };
        const auto time = [&](std::string_view engine, std::uint64_t milliseconds) {
            return "drm-engine-" + std::string(engine) + ":\t" + count(milliseconds * 1'000'000) + " ns\n";
        };
        // One client by two descriptors, and another: 0.1 + 0.3 of one engine, 0.2 of another.
        process(
            10, "player", "/dev/dri/renderD128",
            {client(1, time("gfx", 100)), client(1, time("gfx", 100) + time("dec", 200)), client(2, time("gfx", 300))});
        // Four engines of a kind, cycles beside all that passed, and cycles beside the time.
        process(11, "encoder", "/dev/dri/card1",
                {client(3, time("enc", 1000) + "drm-engine-capacity-enc:\t4\n"),
                 client(4, "drm-cycles-rcs:\t" + count(500) + "\ndrm-total-cycles-rcs:\t" + count(1000) + "\n")});
        process(12, "game", "/dev/dri/card1", {client(5, "drm-cycles-gpu:\t" + count(9) + "\n" + time("gpu", 900))});
        process(13, "idle", "/dev/dri/card1", {client(6, time("gfx", 0))});
        process(14, "no card", "/dev/null", {client(7, time("gfx", 900))});
        process(15, "no count", "/dev/dri/card1", {client(8, "drm-cycles-gpu:\t7\n"), "drm-engine-gfx:\t1 ns\n", ""});
        process(16, "cut", "/dev/dri/card1", {client(9, "drm-engine-gfx:\t" + count(100'000'000))});
    };
    // Of a card of NVIDIA's: 30 % of its cores and 55 % of its encoder, each second anew.
    process(20, "trainer", "/dev/nvidia0", {""});
    tree.write("sys/bus/pci/drivers/nvidia/0000:01:00.0/power/runtime_status", "active\n");
    GraphicsRanking ranking;
    write(0);
    EXPECT_EQ(ranking.look(details), std::nullopt);
    EXPECT_TRUE(ranking.hasCounters());
    clock.advance(Seconds(2));
    write(2);
    const auto near = [](double share) { return DoubleNear(share, 1e-6); };
    EXPECT_THAT(ranking.look(details).value(),
                ElementsAre(FieldsAre(12, "game", near(0.9)), FieldsAre(20, "trainer", near(0.55)),
                            FieldsAre(11, "encoder", near(0.5)), FieldsAre(10, "player", near(0.4))));
    clock.advance(Seconds(1));
    write(1);  // set back
    EXPECT_THAT(ranking.look(details).value(), ElementsAre(FieldsAre(20, "trainer", near(0.55))));
    tree.remove("proc");
    EXPECT_EQ(ranking.look(details), std::nullopt);
    EXPECT_FALSE(ranking.hasCounters());
}

TEST(FileSystems, AreThoseOnDrivesAtTheirTopmostPoint) {
    const auto mount = [](std::string_view device, std::string_view point, std::string_view type,
                          std::string_view source) {
        return "22 27 " + std::string(device) + " / " + std::string(point) + " rw,relatime shared:1 - " +
               std::string(type) + " " + std::string(source) + " rw\n";
    };
    EXPECT_THAT(
        mountPoints(mount("254:0", "/var/lib/docker", "ext4", "/dev/vda") + mount("254:0", "/", "ext4", "/dev/vda") +
                    mount("0:21", "/proc", "proc", "proc") + mount("0:30", "/dev/shm", "tmpfs", "tmpfs") +
                    mount("8:1", "/media/a\\040b\\134", "vfat", "/dev/sda1") +
                    mount("7:3", "/snap/core/1", "squashfs", "/dev/loop3") +
                    mount("0:40", "/home", "btrfs", "/dev/sdb") + mount("0:40", "/srv", "btrfs", "/dev/sdb") +
                    mount("0:50", "/tank", "zfs", "tank") + mount("0:51", "/tank/vm", "zfs", "tank/vm") +
                    mount("0:60", "/mnt/far", "nfs4", "far:/") + mount("0:70", "/in/a/box", "overlay", "overlay") +
                    "22 27 9:9 / /cut rw - ext4 /dev/x"),
        ElementsAre("/", "/media/a b\\", "/srv", "/tank"));
    EXPECT_THAT(mountPoints(mount("0:70", "/", "overlay", "overlay")), ElementsAre("/"));
    EXPECT_THAT(mountPoints("\n7\n - \n"), ElementsAre());
}

/// A Mac, of which each test says what it needs.
struct MacDetailsTest : testing::Test {
    MacDouble& on(const std::string& description) {
        machine.reset();
        auto made = std::make_unique<MacDouble>(*described.emplace(description).machine, described->process.clock);
        MacDouble& mac = *made;
        machine.emplace(std::move(made));
        return mac;
    }
    std::optional<DescribedPlatform> described;
    std::optional<ThisMachine> machine;
};

TEST_F(MacDetailsTest, StandBesideTheirOwnSamplesAlone) {
    on(R"({"sysctl": {"hw.memsize": {"integer": 4096, "width": 8}}, "hostStatistics": {"processors": [
        {"user": 1, "system": 0, "idle": 0, "nice": 0}, {"user": 1, "system": 0, "idle": 0, "nice": 0}]}})");
    const pid_t ended = ::fork();
    if (ended == 0) ::_exit(0);
    ::waitpid(ended, nullptr, 0);
    for (const auto& [memory, processors, isThis] : std::initializer_list<std::tuple<std::uint64_t, std::size_t, bool>>{
             {4096, 2, true}, {4097, 2, false}, {4096, 3, false}}) {
        SnapshotReply reply;
        reply.snapshot.memory.totalBytes = memory;
        reply.snapshot.cpu.perCoreUsage.resize(processors);
        reply.processes[0] = {{::getpid(), "this", 1}, {1, "another's", 1}, {ended, "ended", 1}};
        machine->dropEnded(reply);
        EXPECT_EQ(reply.processes[0].size(), isThis ? 2u : 3u);
        EXPECT_EQ(machine->factsBeside(reply.snapshot).has_value(), isThis);
    }
}

TEST_F(MacDetailsTest, HaveNamesAndAreLeftOutWhenImpossible) {
    MachineDetails& details = *on(R"json({
        "networkInterfaces": [{"name": "lo0", "received": 1, "sent": 2}, {"name": "en0", "received": 3, "sent": 4}],
        "temperatureSensors": [{"product": "gas gauge", "temperature": 31.5}, {"product": "cold", "temperature": -61},
            {"product": "gas gauge", "temperature": -5}, {"temperature": 40}, {"product": "dead", "temperature": null}],
        "registry": {
            "IOBlockStorageDriver": [
                {"name": "d", "properties": {"Statistics": {"Bytes (Read)": 5, "Bytes (Write)": 6}}, "children": [
                    {"name": "m"}, {"name": "m", "properties": {"BSD Name": "disk1"}}]},
                {"name": "reader of cards", "properties": {"Statistics": {"Bytes (Read)": 0, "Bytes (Write)": 0}}},
                {"name": "silent", "children": [{"name": "m", "properties": {"BSD Name": "disk2"}}]}],
            "AppleSMC": [{"name": "c", "userClient": {
                "FNum": {"type": "ui8 ", "value": {"bytes": "05"}}, "F0Ac": {"type": "flt ", "value": 1200.5},
                "F1Ac": {"type": "fpe2", "value": {"bytes": "1389"}}, "F2Ac": {"type": "flt ", "value": -1},
                "F3Ac": {"type": "sp78", "value": 7}, "F4Ac": {"type": "flt ", "value": 0},
                "F5Ac": {"type": "flt ", "value": 5}}}]}})json")
                                   .details();
    EXPECT_THAT(details.drives(), ElementsAre(FieldsAre("disk1", 5u, 6u)));
    EXPECT_THAT(details.interfaces(), ElementsAre(FieldsAre("en0", 3u, 4u)));
    EXPECT_THAT(details.temperatures(), ElementsAre(FieldsAre("gas gauge", 31.5), FieldsAre("gas gauge 2", -5.0)));
    EXPECT_THAT(details.fans(),
                ElementsAre(FieldsAre("fan 1", 1200.5), FieldsAre("fan 2", 1250.25), FieldsAre("fan 5", 0.0)));
}

TEST_F(MacDetailsTest, TellTimesAndLoadsThatCanBe) {
    for (const auto& [start, now, uptime] : std::initializer_list<std::tuple<int, double, std::optional<Seconds>>>{
             {1000, 5000, Seconds(3999.5)}, {1000, 900, std::nullopt}, {0, 900, std::nullopt}}) {
        MacDouble& mac = on(R"({"sysctl": {"kern.boottime": {"bytes": [{"width": 8, "integer": )" +
                            std::to_string(start) + R"(}, {"width": 8, "integer": 500000}]}}})");
        described->process.clock.wallTime = WallTime(Seconds(now));
        EXPECT_EQ(mac.details()->uptime(), uptime) << start;
    }
    for (const auto& [last, isTold] : {std::pair(0.0, true), {-1.0, false}, {std::nan(""), false}}) {
        MacDouble& mac = on("{}");
        mac.loadAverages[2] = last;
        EXPECT_EQ(mac.details()->loadAverages(), isTold ? std::optional(mac.loadAverages) : std::nullopt) << last;
    }
}

TEST_F(MacDetailsTest, VolumesAreThoseThatPeopleKeepFilesOn) {
    constexpr std::uint32_t readOnly = 1, hidden = 0x100000;
    const std::string longest(1024, 'z');
    MacDouble& mac = on("{}");
    mac.mount("apfs", "/dev/disk3s5", "/System/Volumes/Data", hidden);
    mac.mount("apfs", "/dev/disk3s1s1", "/", readOnly);
    mac.mount("apfs", "/dev/disk1s2", "/System/Volumes/xarts", hidden);
    mac.mount("apfs", "/dev/disk1s3", "/System/Volumes/Hardware");
    mac.mount("devfs", "devfs", "/dev");
    mac.mount("autofs", "map auto_home", "/home");
    mac.mount("smbfs", "//me@far/share", "/Volumes/share");
    mac.mount("apfs", "com.apple.TimeMachine.now@/dev/disk3s5", "/Volumes/then");
    mac.mount("hfs", "/dev/disk5s1", "/Volumes/Installer", readOnly);
    mac.mount("apfs", "/dev/disk7s1", "/Library/Developer/CoreSimulator/Volumes/iOS", hidden);
    mac.mount("apfs", "/dev/disk13s1", "/Volumes/Workshop");
    mac.mount("apfs", "/dev/disk13s2", "/Volumes/Work");
    mac.mount("exfat", "/dev/disk4s2", "/Volumes/B", 0, 30);
    mac.mount("exfat", "/dev/disk4s1", "/Volumes/A");
    mac.mount("hfs", "/dev/disk6s1", "/Volumes/None", 0, 0);
    mac.mount("hfs", "/dev/disk8s1", longest);
    const auto volume = [](const std::string& point, std::uint64_t blocks, std::uint64_t available) {
        return FieldsAre(point, blocks * 4096, available * 4096);
    };
    EXPECT_THAT(mac.details()->fileSystems(),
                ElementsAre(volume("/", 100, 40), volume("/Volumes/A", 100, 40), volume("/Volumes/B", 30, 30),
                            volume("/Volumes/Work", 100, 40), volume(longest, 100, 40)));
}

TEST_F(MacDetailsTest, ProcessesHaveAUserAndACommand) {
    using namespace std::string_literals;
    ProcessRecord record{};
    record.startSeconds = 12;
    record.startMicroseconds = 5;
    record.pid = 7;
    std::copy_n("1234567890123456", 17, record.name);
    record.user = 4'000'000'001;
    const auto bytes = [&record](std::size_t size = sizeof record) {
        const auto* const begin = reinterpret_cast<const std::uint8_t*>(&record);
        return Bytes(begin, begin + size);
    };
    MacDouble& mac = on("{}");
    mac.numbered[{1, 14, 1, 7}] = bytes();
    for (const auto& [arguments, command] : std::initializer_list<std::pair<std::string, std::string>>{
             {"\2\0\0\0/bin/tool\0\0\0\0tool\0-v\0SECRET=1\0"s, "tool -v"},
             {"\3\0\0\0/p\0p\0\0\xFF\n\0SECRET=1\0"s, "p  \xFF\n"},
             {"\2\0\0\0/p\0p\0cu"s, "p cu"},
             {"\1\0\0\0/p\0"s + std::string(5000, 'a'), std::string(4096, 'a')},
             {"\1\0\0\0/bin/to"s, "[1234567890123456]"},
             {"\0\0\0\0/p\0\0p\0"s, "[1234567890123456]"},
             {"\1\0\0"s, "[1234567890123456]"},
             {""s, "[1234567890123456]"}}) {
        mac.numbered[{1, 49, 7}] = Bytes(arguments.begin(), arguments.end());
        EXPECT_THAT(mac.details()->process(7).value(), FieldsAre(12'000'005u, "4000000001", command));
    }
    mac.numbered.erase({1, 49, 7});  // another user's
    EXPECT_EQ(mac.details()->process(7).value().command, "[1234567890123456]");
    mac.numbered[{1, 14, 1, 7}] = bytes(640);
    mac.numbered[{1, 14, 1, 8}] = bytes();
    record.pid = 0;
    mac.numbered[{1, 14, 1, 0}] = bytes();
    for (const int pid : {0, 7, 8, 9}) EXPECT_FALSE(mac.details()->process(pid)) << pid;
}

}  // namespace
}  // namespace zqm
