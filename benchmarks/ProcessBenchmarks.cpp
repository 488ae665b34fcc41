#include <benchmark/benchmark.h>
#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "Platform/Linux/Processes/LinuxProcessTable.h"
#include "Platform/Posix/Descriptor.h"
#include "benchmarks/GeneratedTree.h"
#include "benchmarks/QuickClock.h"

// What a pass over the processes costs beside the kernel's own share of it: the same files opened, read and closed by a
// bare loop. The argument is the number of processes, 0: those of this machine.

namespace zqm {
namespace {

const std::string& rootOf(std::int64_t processes) {
    static std::map<std::int64_t, std::unique_ptr<GeneratedTree>> trees;
    static std::map<std::int64_t, std::string> roots{{0, "/"}};
    const auto [root, isNew] = roots.try_emplace(processes);
    if (isNew) {
        auto& tree = trees[processes] = std::make_unique<GeneratedTree>();
        tree->addProcesses(static_cast<int>(processes));
        root->second = tree->root();
    }
    return root->second;
}

void bareStatReads(benchmark::State& state) {
    const Descriptor directory(open((rootOf(state.range(0)) + "/proc").c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    std::vector<std::string> names;
    DIR* const stream = opendir((rootOf(state.range(0)) + "/proc").c_str());
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
    QuickClock clock;
    const RootDirectory root(rootOf(state.range(0)));
    LinuxProcessTable table(root, clock);
    for (auto _ : state) {
        benchmark::DoNotOptimize(table.processes());
        clock.sleep(Seconds(1));
    }
    state.counters["processes"] = static_cast<double>(table.known().all().size());
}
BENCHMARK(processPass)->Arg(0)->Arg(300)->Arg(3000)->Arg(10000);

}  // namespace
}  // namespace zqm
