#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <vector>

#include "Platform/Posix/Descriptor.h"
#include "ZQMHelper/Shared/MetricsJson.h"
#include "ZQMHelper/Shared/MonitorEngine.h"
#include "benchmarks/GeneratedTree.h"
#include "benchmarks/QuickPlatform.h"

// What one tick costs beside the kernel's own share of it: the same files read by a bare loop. Both are measured as CPU
// time of the whole process, threads included.

namespace zqm {
namespace {

namespace fs = std::filesystem;

/// All readers of the engine.
class Readers {
public:
    explicit Readers(QuickPlatform& quick)
        : quick_(quick),
          cpu_(quick.platform),
          memory_(quick.platform),
          network_(quick.platform),
          disk_(quick.platform),
          gpu_(quick.platform),
          battery_(quick.platform),
          power_(std::make_shared<SMCBridge>(quick.platform), quick.platform),
          frequency_(quick.platform),
          temperature_(quick.platform) {}

    void tick() {
        benchmark::DoNotOptimize(cpu_.sample());
        benchmark::DoNotOptimize(memory_.sample());
        benchmark::DoNotOptimize(network_.sample());
        benchmark::DoNotOptimize(disk_.sample());
        benchmark::DoNotOptimize(gpu_.sample());
        benchmark::DoNotOptimize(battery_.sample());
        benchmark::DoNotOptimize(power_.sample());
        benchmark::DoNotOptimize(frequency_.sample());
        benchmark::DoNotOptimize(temperature_.sample());
        quick_.finishTick();
    }

private:
    QuickPlatform& quick_;
    CPUReader cpu_;
    MemoryReader memory_;
    NetworkReader network_;
    DiskReader disk_;
    GPUReader gpu_;
    BatteryReader battery_;
    PowerReader power_;
    FrequencyReader frequency_;
    TemperatureReader temperature_;
};

/// The files of the machine below `root` that ticks read: those that the readers keep open.
std::vector<std::string> filesOfTicks(const std::string& root) {
    QuickPlatform quick(root);
    Readers readers(quick);
    for (int i = 0; i < 3; ++i) readers.tick();
    std::vector<std::string> files;
    for (const auto& entry : fs::directory_iterator("/proc/self/fd")) {
        std::error_code error;
        const fs::path target = fs::read_symlink(entry.path(), error);
        const std::string name = target.string();
        const bool isOfMachine =
            root == "/" ? name.starts_with("/proc/") || name.starts_with("/sys/") : name.starts_with(root);
        if (isOfMachine && fs::is_regular_file(target, error)) files.push_back(name);
    }
    return files;
}

void readBarely(benchmark::State& state, const std::string& root) {
    std::vector<Descriptor> files;
    for (const std::string& name : filesOfTicks(root)) files.emplace_back(open(name.c_str(), O_RDONLY | O_CLOEXEC));
    std::vector<char> buffer(65536);
    for (auto _ : state) {
        for (const Descriptor& file : files) {
            benchmark::DoNotOptimize(pread(file.get(), buffer.data(), buffer.size(), 0));
        }
    }
    state.counters["files"] = static_cast<double>(files.size());
}

void runTicks(benchmark::State& state, const std::string& root) {
    QuickPlatform quick(root);
    Readers readers(quick);
    for (auto _ : state) readers.tick();
}

void bareReads(benchmark::State& state) {
    readBarely(state, "/");
}
BENCHMARK(bareReads)->MeasureProcessCPUTime();

/// The readers alone, on one thread.
void sample(benchmark::State& state) {
    runTicks(state, "/");
}
BENCHMARK(sample)->MeasureProcessCPUTime();

const std::string& rootOf128() {
    static const struct Tree : GeneratedTree {
        Tree() { addMachine(128); }
        const std::string path = root();
    } tree;
    return tree.path;
}

/// The same on a large machine, generated in memory, where the kernel's own share is small.
void bareReads128(benchmark::State& state) {
    readBarely(state, rootOf128());
}
BENCHMARK(bareReads128)->MeasureProcessCPUTime();

void tick128(benchmark::State& state) {
    runTicks(state, rootOf128());
}
BENCHMARK(tick128)->MeasureProcessCPUTime();

/// A whole tick: the main thread's firing, the sample on its queue, the publication on the main thread.
void engineTick(benchmark::State& state) {
    QuickPlatform quick;
    auto settings = std::make_shared<SettingsStore>(quick.platform);
    const auto engine =
        std::make_shared<MonitorEngine>(settings, std::make_shared<SMCBridge>(quick.platform), quick.platform);
    MainLoop& loop = quick.platform.mainLoop;
    engine->observation().onChange([&](std::string_view) {
        quick.finishTick();
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
    QuickPlatform quick;
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
