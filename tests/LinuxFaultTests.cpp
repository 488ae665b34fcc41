#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>

#include "Platform/Linux/LinuxMachine.h"
#include "tests/fakes/EngineSamples.h"
#include "tests/fakes/TreeText.h"

namespace {

// What a plain tree cannot answer: reading the one file fails with this error while it is not 0.
std::string refusingFile;
int refusal = 0;
int refusedReads = 0;

}  // namespace

/// Stands before the C library's in this program.
extern "C" ssize_t pread(int file, void* buffer, size_t size, off_t offset) {
    if (refusal != 0) {
        std::error_code ignored;
        if (std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(file), ignored) == refusingFile) {
            ++refusedReads;
            errno = refusal;
            return -1;
        }
    }
    return static_cast<ssize_t>(::syscall(SYS_pread64, file, buffer, size, offset));
}

namespace zqm {
namespace {

// Every file of a machine fails in turn: in being opened (ENOENT, ELOOP; to root nothing is unreadable by its mode), in
// being read (EISDIR, ESPIPE, and what drivers answer) and in what it holds. What it feeds may be lost, all else stays.

/// The members of the snapshot that files feed; the first beginning that fits counts.
const Feeding families{
    {"proc/stat", {"cpu", "load"}},
    {"proc/cpuinfo", {"cpu"}},
    {"proc/meminfo", {"memory"}},
    {"proc/pressure", {"memory"}},
    {"proc/net/fib_trie", {"ip"}},
    {"proc/net/tcp", {}},
    {"proc/net", {"network", "ip"}},
    {"proc/diskstats", {"disk"}},
    {"sys/block/zram", {"memory"}},
    {"sys/block", {"disk"}},
    {"sys/class/net", {"network", "ip"}},
    {"sys/class/drm", {"gpu", "power", "load"}},
    {"sys/class/devfreq", {"gpu", "load"}},
    {"sys/class/powercap", {"power", "load"}},
    {"sys/class/power_supply", {"battery", "power"}},
    {"sys/class/hwmon", {"cpu", "gpu"}},
    {"sys/devices", {"cpu"}},
};

using Text = const std::string&;

void write(Text path, Text content) {
    std::ofstream(path, std::ios::binary) << content;
}

/// The content with every number replaced by one that fits nowhere.
std::string withAbsurdNumbers(Text content) {
    std::string absurd;
    for (const char c : content) absurd += c >= '0' && c <= '9' ? "9876543210" : std::string(1, c);
    return absurd;
}

struct Damage {
    std::string_view name;
    void (*inflict)(Text path, Text content);  // the file has been removed
    int error = 0;                             // of reading what it leaves
};
const std::string garbage("\0\xFF: nan -1 inf\n\n\t:::\ncpu\ncpu0 \x80", 31);
constexpr Damage damages[]{
    {"missing", [](Text, Text) {}},
    {"empty", [](Text path, Text) { write(path, ""); }},
    {"one byte short", [](Text path, Text content) { write(path, content.substr(0, content.size() - 1)); }},
    {"cut in the middle", [](Text path, Text content) { write(path, content.substr(0, content.size() / 2)); }},
    {"absurd numbers", [](Text path, Text content) { write(path, withAbsurdNumbers(content)); }},
    {"garbage", [](Text path, Text) { write(path, garbage); }},
    {"a directory", [](Text path, Text) { std::filesystem::create_directory(path); }},
    {"a link to itself", [](Text path, Text) { std::filesystem::create_symlink(path, path); }},
    {"memory that is not there", [](Text path, Text) { std::filesystem::create_symlink("/proc/self/mem", path); }},
    {"a fifo", [](Text path, Text) { ::mkfifo(path.c_str(), 0600); }},
    {"EACCES", write, EACCES},
    {"ENODEV", write, ENODEV},
};

/// A machine of tests/machines/ in a tree of its own, whose files are as at its first moment.
struct Subject {
    explicit Subject(const std::string& name) {
        std::ifstream stream(ZQM_TEST_DATA "/machines/" + name + ".txt");
        text = parseTrees(std::string(std::istreambuf_iterator<char>(stream), {})).front();
        writeFiles(tree, text.moments[0].files);
    }
    /// The samples of both moments; one file is damaged before the first or before the second.
    Snapshots run(const TreeText::File* damaged, const Damage* damage, bool late) {
        const auto inflict = [&] {
            tree.remove(damaged->path);
            damage->inflict(tree.path(damaged->path), damaged->content);
            if (damage->error != 0) refusingFile = std::filesystem::canonical(tree.path(damaged->path));
            refusal = damage->error;
        };
        if (damaged && !late) inflict();
        FakePlatform fakes;
        LinuxMachine machine(tree.root(), fakes.clock);
        const Snapshots snapshots = sample(machine, fakes, 2, [&](int taken) {
            if (taken == 0) return;
            for (const auto& file : text.moments[1].files) {
                moved.insert(file.path);
                if (!damaged || file.path != damaged->path) writeFiles(tree, {file});
            }
            if (damaged && late) inflict();
        });
        refusal = 0;
        if (damaged) tree.remove(damaged->path);
        for (const auto& file : text.moments[0].files) {
            if (&file == damaged || moved.contains(file.path)) writeFiles(tree, {file});
        }
        return snapshots;
    }
    TreeText text;
    TemporaryTree tree;
    Members moved;  // by the second moment
};

TEST(LinuxFaults, EachFileMayBeDamaged) {
    Members reached;
    for (const char* name : {"laptop", "server"}) {
        Subject subject(name);
        const Snapshots whole = subject.run(nullptr, nullptr, false);
        for (const auto& file : subject.text.moments[0].files) {
            const Members fed = fedBy(families, file.path);
            for (const Damage& damage : damages) {
                for (const bool late : {false, true}) {
                    if (fed.empty()) continue;
                    SCOPED_TRACE(file.path + " " + std::string(damage.name) + (late ? " later" : ""));
                    const Snapshots faulty = subject.run(&file, &damage, late);
                    expectWithin(differences(whole[0], faulty[0]), late ? Members{} : fed);
                    const Members found = differences(whole[1], faulty[1]);
                    expectWithin(found, fed);
                    reached.insert(found.begin(), found.end());
                }
            }
        }
    }
    EXPECT_GT(refusedReads, 100);
    EXPECT_EQ(reached, (Members{"battery", "cpu", "disk", "gpu", "ip", "load", "memory", "network", "power"}));
}

}  // namespace
}  // namespace zqm
