#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

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

TEST(GraphicsClient, TellsNothingByHalfOfItsCounters) {
    for (const char* half : {"drm-cycles-rcs:\t5\n", "drm-total-cycles-rcs:\t9\n"})
        EXPECT_FALSE(parseGraphicsClient(client(1, half), MonotonicTime(Seconds(1)))) << half;
}

TEST(NamedSensors, AreThoseOfChipsElseOfZones) {
    const TemporaryTree tree;
    VirtualClock clock;
    const RootDirectory root(tree.root());
    PosixSettings environment;
    LinuxReadings readings{root, environment, clock, ""};
    LinuxDetails details(root, readings, clock, "");
    tree.write("sys/class/thermal/thermal_zone0/type", "soc\n");
    tree.write("sys/class/thermal/thermal_zone0/temp", "45500\n");
    tree.write("sys/class/thermal/thermal_zone1/temp", "-1\n");
    EXPECT_THAT(details.temperatures(), ElementsAre(FieldsAre("soc", 45.5), FieldsAre("thermal_zone1", -0.001)));
    int number = 0;
    for (const char* temperature : {"-60000", "-59999", "0", "1", "199999", "200000", "cut"})
        tree.write("sys/class/hwmon/hwmon1/temp" + std::to_string(++number) + "_input",
                   temperature + std::string("\n"));
    for (const char* speed : {"-1", "0", "99999", "100000"})
        tree.write("sys/class/hwmon/hwmon1/fan" + std::to_string(++number) + "_input", speed + std::string("\n"));
    tree.write("sys/class/hwmon/hwmon1/name", "chip\n");
    EXPECT_THAT(details.temperatures(), ElementsAre(FieldsAre("chip temp2", -59.999), FieldsAre("chip temp4", 0.001),
                                                    FieldsAre("chip temp5", 199.999)));
    EXPECT_THAT(details.fans(), ElementsAre(FieldsAre("chip fan10", 99999), FieldsAre("chip fan9", 0)));
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

TEST(MacDetails, StandBesideTheirOwnSamplesAlone) {
    DescribedPlatform described(R"({"sysctl": {"hw.memsize": {"integer": 4096, "width": 8}}, "hostStatistics":
        {"processors": [{"user": 1, "system": 0, "idle": 0, "nice": 0}]}})");
    ThisMachine machine(std::make_unique<MacDouble>(*described.machine, described.process.clock));
    const pid_t ended = ::fork();
    if (ended == 0) ::_exit(0);
    ::waitpid(ended, nullptr, 0);
    for (const auto& [memory, processors, isThis] :
         {std::tuple(4096u, 1u, true), {4097u, 1u, false}, {4096u, 2u, false}}) {
        SnapshotReply reply;
        reply.snapshot.memory.totalBytes = memory;
        reply.snapshot.cpu.perCoreUsage.resize(processors);
        reply.processes[0] = {{::getpid(), "this", 1}, {1, "another's", 1}, {ended, "ended", 1}};
        machine.dropEnded(reply);
        EXPECT_EQ(reply.processes[0].size(), isThis ? 2u : 3u);
        EXPECT_EQ(machine.factsBeside(reply.snapshot).has_value(), isThis);
    }
}

TEST(MacDetails, OfDamagedRecordsAreLeftOut) {
    DescribedPlatform described(R"({"sysctl": {"kern.boottime": {"integer": 0, "width": 8}}})");
    MacDouble mac(*described.machine, described.process.clock);
    EXPECT_EQ(mac.details()->uptime(), std::nullopt);
    mac.loadAverages[2] = -1;
    EXPECT_EQ(mac.details()->loadAverages(), std::nullopt);
    mac.mount("hfs", "/dev/disk8s1", std::string(2000, 'z'), 0, 100);  // which the record ends
    EXPECT_EQ(mac.details()->fileSystems().at(0).mountPoint, std::string(1024, 'z'));
    for (const int pid : {0, 7, 8}) mac.run(pid, std::string("\1\0\0\0/p\0", 7) + std::string(5000, 'a'));
    EXPECT_EQ(mac.details()->process(8).value().command, std::string(4096, 'a'));
    mac.numbered[{1, 14, 1, 7}].pop_back();
    mac.numbered[{1, 14, 1, 9}] = mac.numbered[{1, 14, 1, 8}];
    for (const int pid : {0, 7, 9}) EXPECT_FALSE(mac.details()->process(pid)) << pid;
}

}  // namespace
}  // namespace zqm
