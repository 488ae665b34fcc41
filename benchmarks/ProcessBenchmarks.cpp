#include <benchmark/benchmark.h>
#include <dirent.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <sched.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <string>
#include <vector>

#include "Platform/Linux/Processes/LinuxProcessTable.h"
#include "Platform/Posix/Descriptor.h"
#include "benchmarks/QuickClock.h"

// What a pass over the processes costs beside the kernel's own share of it: the same files opened, read and closed by a
// bare loop, and what the sockets of processes cost beside the pass. The argument is the number of sleeping processes
// beside those of this machine.

namespace zqm {
namespace {

int sleepForever(void*) {
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    while (true) ::pause();
}

/// A sleeper with 25 descriptors, one of an internet socket.
int sleepWithSocket(void*) {
    for (int descriptor = 3; descriptor < 64; ++descriptor) close(descriptor);
    const sockaddr_in any{.sin_family = AF_INET, .sin_port = 0, .sin_addr = {}, .sin_zero = {}};
    bind(socket(AF_INET, SOCK_DGRAM, 0), reinterpret_cast<const sockaddr*>(&any), sizeof any);
    for (int copies = 0; copies < 21; ++copies) static_cast<void>(fcntl(2, F_DUPFD, 4));
    return sleepForever(nullptr);
}

/// Real processes, since what the kernel takes for each is most of the cost. They share this one's memory.
class Sleepers {
public:
    explicit Sleepers(std::int64_t count, int (*sleep)(void*) = sleepForever)
        : stacks_(static_cast<std::size_t>(count) * stackSize) {
        for (std::int64_t i = 1; i <= count; ++i) {
            const int pid = ::clone(sleep, stacks_.data() + i * stackSize, CLONE_VM | SIGCHLD, nullptr);
            if (pid > 0) pids_.push_back(pid);
        }
    }
    ~Sleepers() {
        for (const pid_t pid : pids_) ::kill(pid, SIGKILL);
        for (const pid_t pid : pids_) ::waitpid(pid, nullptr, 0);
    }
    Sleepers(const Sleepers&) = delete;
    Sleepers& operator=(const Sleepers&) = delete;

private:
    static constexpr std::int64_t stackSize = 4096;
    std::vector<char> stacks_;
    std::vector<pid_t> pids_;
};

void bareStatReads(benchmark::State& state) {
    const Sleepers sleepers(state.range(0));
    const Descriptor directory(open("/proc", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    std::vector<std::string> names;
    DIR* const stream = opendir("/proc");
    while (const dirent* entry = readdir(stream)) {
        if (entry->d_name[0] >= '1' && entry->d_name[0] <= '9') names.push_back(entry->d_name + std::string("/stat"));
    }
    closedir(stream);
    std::array<char, 4096> buffer;
    for (auto _ : state) {
        for (const std::string& name : names) {
            const int file = openat(directory.get(), name.c_str(), O_RDONLY | O_CLOEXEC);
            if (file < 0) continue;  // gone
            benchmark::DoNotOptimize(read(file, buffer.data(), buffer.size()));
            close(file);
        }
    }
    state.counters["processes"] = static_cast<double>(names.size());
}
BENCHMARK(bareStatReads)->Arg(0)->Arg(300)->Arg(3000)->Arg(10000);

void processPass(benchmark::State& state) {
    const Sleepers sleepers(state.range(0));
    QuickClock clock;
    const RootDirectory root("/");
    LinuxProcessTable table(root, clock);
    table.processes();
    for (auto _ : state) {
        benchmark::DoNotOptimize(table.processes());
        clock.sleep(Seconds(2));
    }
    state.counters["processes"] = static_cast<double>(table.known().all().size());
}
BENCHMARK(processPass)->Arg(0)->Arg(300)->Arg(3000)->Arg(10000);

/// A pass beside as many sleepers as the first argument says, with (1) and without (0) a look at their sockets.
void passBesideSleepers(benchmark::State& state) {
    const Sleepers sleepers(state.range(0), sleepWithSocket);
    QuickClock clock;
    const RootDirectory root("/");
    LinuxProcessTable table(root, clock);
    for (int i = 0; i < 3; ++i) {  // the first takes longer
        table.processes();
        table.socketOwners();
    }
    for (auto _ : state) {
        benchmark::DoNotOptimize(table.processes());
        if (state.range(1) == 1) benchmark::DoNotOptimize(table.socketOwners());
        clock.sleep(Seconds(2));
    }
}
BENCHMARK(passBesideSleepers)->ArgsProduct({{300, 3000}, {0, 1}});

}  // namespace
}  // namespace zqm
