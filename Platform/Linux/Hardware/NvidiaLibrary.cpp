#include "Platform/Linux/Hardware/NvidiaLibrary.h"

#include <dlfcn.h>

#include <algorithm>
#include <utility>

namespace zqm {
namespace {

// From the library's interface: 0 is success, the clock of the graphics cores and the sensor of the chip.
constexpr int success = 0;
constexpr int graphicsClock = 0;
constexpr int chipSensor = 0;

constexpr unsigned impossibleMilliwatts = 3'000'000;

struct Utilization {
    unsigned gpu;
    unsigned memory;
};

struct ProcessUtilization {
    unsigned pid;
    unsigned long long timeStamp;
    unsigned cores, memory, encoder, decoder;
};

template <class Function>
bool find(void* library, const char* name, Function*& function) {
    function = reinterpret_cast<Function*>(::dlsym(library, name));
    return function != nullptr;
}

}  // namespace

struct NvidiaLibrary::Functions {
    int (*init)() = nullptr;
    int (*shutdown)() = nullptr;
    int (*deviceByAddress)(const char*, void**) = nullptr;
    int (*utilization)(void*, Utilization*) = nullptr;
    int (*clock)(void*, int, unsigned*) = nullptr;
    int (*mostClock)(void*, int, unsigned*) = nullptr;
    int (*temperature)(void*, int, unsigned*) = nullptr;
    int (*processes)(void*, ProcessUtilization*, unsigned*, unsigned long long) = nullptr;
    int (*power)(void*, unsigned*) = nullptr;  // mW, of the whole board; on most cards the mean of a second
};

NvidiaLibrary::NvidiaLibrary(std::string path) : path_(std::move(path)) {}

NvidiaLibrary::~NvidiaLibrary() {
    close();
}

void NvidiaLibrary::close() {
    if (functions_) functions_->shutdown();
    functions_.reset();
    if (library_) ::dlclose(std::exchange(library_, nullptr));
    hasFailed_ = false;
}

bool NvidiaLibrary::open() {
    if (functions_ || hasFailed_ || path_.empty()) return functions_ != nullptr;
    library_ = ::dlopen(path_.c_str(), RTLD_NOW | RTLD_LOCAL);
    auto found = std::make_unique<Functions>();
    const bool isComplete = library_ && find(library_, "nvmlInit_v2", found->init) &&
                            find(library_, "nvmlShutdown", found->shutdown) &&
                            find(library_, "nvmlDeviceGetHandleByPciBusId_v2", found->deviceByAddress) &&
                            find(library_, "nvmlDeviceGetUtilizationRates", found->utilization) &&
                            find(library_, "nvmlDeviceGetClockInfo", found->clock) &&
                            find(library_, "nvmlDeviceGetMaxClockInfo", found->mostClock) &&
                            find(library_, "nvmlDeviceGetTemperature", found->temperature);
    if (isComplete) {
        find(library_, "nvmlDeviceGetPowerUsage", found->power);
        find(library_, "nvmlDeviceGetProcessUtilization", found->processes);
    }
    if (isComplete && found->init() == success) {
        functions_ = std::move(found);
    } else {
        close();
        hasFailed_ = true;
    }
    return functions_ != nullptr;
}

void* NvidiaLibrary::device(const std::string& address) {
    void* device = nullptr;
    if (!open() || functions_->deviceByAddress(address.c_str(), &device) != success) return nullptr;
    return device;
}

NvidiaReading NvidiaLibrary::read(const std::string& address) {
    NvidiaReading reading;
    void* card = device(address);
    if (!card) return reading;
    Utilization utilization{};
    unsigned value = 0;
    if (functions_->utilization(card, &utilization) == success) reading.busyPercent = utilization.gpu;
    if (functions_->clock(card, graphicsClock, &value) == success) reading.megahertz = value;
    if (functions_->temperature(card, chipSensor, &value) == success) reading.celsius = value;
    const bool tellsPower = functions_->power && functions_->power(card, &value) == success;
    if (tellsPower && value < impossibleMilliwatts) reading.watts = value / 1000.0;
    return reading;
}

std::vector<NvidiaProcess> NvidiaLibrary::processes(const std::string& address, std::uint64_t since) {
    void* card = device(address);
    if (!card || !functions_->processes) return {};
    constexpr unsigned most = 1000;
    std::vector<ProcessUtilization> samples(most);
    unsigned count = most;
    if (functions_->processes(card, samples.data(), &count, since) != success) return {};
    std::vector<NvidiaProcess> processes;
    for (unsigned i = 0; i < std::min(count, most); ++i) {
        const ProcessUtilization& sample = samples[i];
        if (sample.pid == 0 || sample.timeStamp <= since) continue;
        processes.push_back(
            {static_cast<std::int32_t>(sample.pid), sample.timeStamp, sample.cores, sample.encoder, sample.decoder});
    }
    return processes;
}

std::optional<double> NvidiaLibrary::mostMegahertz(const std::string& address) {
    void* card = device(address);
    unsigned value = 0;
    if (!card || functions_->mostClock(card, graphicsClock, &value) != success) return std::nullopt;
    return value;
}

}  // namespace zqm
