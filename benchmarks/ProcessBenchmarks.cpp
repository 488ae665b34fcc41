#include <benchmark/benchmark.h>
#include <dirent.h>
#include <fcntl.h>
#include <sched.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <string>
#include <vector>

#include "Platform/Linux/Processes/LinuxProcessTable.h"
#include "Platform/Posix/Descriptor.h"
#include "benchmarks/QuickClock.h"

// What a pass over the processes costs beside the kernel's own share of it: the same files opened, read and closed by a
// bare loop. The argument is the number of sleeping processes beside those of this machine.

namespace zqm {
namespace {

int sleepForever(void*) {
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    while (true) ::pause();
}

/// Real processes, since what the kernel takes for each is most of the cost. They share this one's memory.
class Sleepers {
public:
    explicit Sleepers(std::int64_t count) : stacks_(static_cast<std::size_t>(count) * stackSize) {
        for (std::int64_t i = 1; i <= count; ++i) {
            const int pid = ::clone(sleepForever, stacks_.data() + i * stackSize, CLONE_VM | SIGCHLD, nullptr);
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

}  // namespace
}  // namespace zqm
