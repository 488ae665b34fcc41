#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <string>
#include <vector>

#include "Platform/Machine.h"
#include "Platform/Posix/PosixServices.h"
#include "ZQMHelper/Shared/MetricsJson.h"
#include "ZQMHelper/Shared/MonitorEngine.h"

// What one tick costs beside the kernel's own share of it: the same files read by a bare loop. Both are measured as CPU
// time of the whole process, threads included.

namespace zqm {
namespace {

/// The platform of the real program.
struct RealPlatform {
    PosixServices process;
    std::unique_ptr<Machine> machine = makeNativeMachine("/");
    Platform platform = process.platformOn(*machine);
    ScopedPlatform current{platform};
};

void bareReads(benchmark::State& state) {
    std::vector<std::string> names{"/proc/stat", "/proc/meminfo", "/proc/pressure/memory", "/proc/net/dev",
                                   "/proc/diskstats"};
    for (int disk = 0; disk < 16; ++disk) names.push_back("/sys/block/zram" + std::to_string(disk) + "/mm_stat");
    std::vector<int> files;
    for (const std::string& name : names) {
        if (const int file = open(name.c_str(), O_RDONLY | O_CLOEXEC); file >= 0) files.push_back(file);
    }
    std::array<char, 65536> buffer;
    for (auto _ : state) {
        for (int file : files) benchmark::DoNotOptimize(pread(file, buffer.data(), buffer.size(), 0));
    }
    for (int file : files) close(file);
}
BENCHMARK(bareReads)->MeasureProcessCPUTime();

/// The readers alone, on one thread.
void sample(benchmark::State& state) {
    RealPlatform real;
    CPUReader cpu(real.platform);
    MemoryReader memory(real.platform);
    NetworkReader network(real.platform);
    DiskReader disk(real.platform);
    for (auto _ : state) {
        benchmark::DoNotOptimize(cpu.sample());
        benchmark::DoNotOptimize(memory.sample());
        benchmark::DoNotOptimize(network.sample());
        benchmark::DoNotOptimize(disk.sample());
    }
}
BENCHMARK(sample)->MeasureProcessCPUTime();

/// A whole tick: the main thread's firing, the sample on its queue, the publication on the main thread.
void engineTick(benchmark::State& state) {
    RealPlatform real;
    auto settings = std::make_shared<SettingsStore>(real.platform);
    const auto engine = std::make_shared<MonitorEngine>(settings, std::make_shared<SMCBridge>(), real.platform);
    MainLoop& loop = real.platform.mainLoop;
    engine->observation().onChange([&](std::string_view) {
        if (state.KeepRunning()) {
            loop.post([&] { engine->scheduleSample(); });
        } else {
            loop.stop();
        }
    });
    loop.post([&] { engine->scheduleSample(); });
    loop.run();
}
BENCHMARK(engineTick)->MeasureProcessCPUTime();

void encodeSnapshot(benchmark::State& state) {
    RealPlatform real;
    SystemSnapshot snapshot;
    for (int core = 0; core < state.range(0); ++core) {
        snapshot.cpu.perCoreUsage.push_back(0.1234567 * (core % 8));
        snapshot.cpu.coreKinds.push_back(core < 4 ? CoreKind::efficiency : CoreKind::performance);
        snapshot.cpu.perCoreFreqMHz["P" + std::to_string(core)] = 2064.123 + core;
    }
    snapshot.memory = {17179869184, 6619136000, 2523136000, 3276800000, 819200000, 1, 0.2384, 1 << 20, 1 << 30};
    snapshot.network = {123456.789, 9876543.21, 1ull << 40, 1ull << 42};
    snapshot.power = {1.234, 0.456, 0.0123, 0.789, 2.4913, 7.125, 1.5};
    for (auto _ : state) benchmark::DoNotOptimize(encode(snapshot));
}
BENCHMARK(encodeSnapshot)->Arg(8)->Arg(128);

}  // namespace
}  // namespace zqm
