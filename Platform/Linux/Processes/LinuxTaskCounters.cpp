#include "Platform/Linux/Processes/LinuxTaskCounters.h"

#include <fcntl.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cmath>
#include <string>
#include <string_view>

#include "Platform/Linux/Kernel/KernelText.h"
#include "Platform/Linux/Processes/ProcessFiles.h"
#include "Support/Saturated.h"
#include "Support/Text.h"

namespace zqm {
namespace {

constexpr double largestCount = 1.8e19;  // fits into 64 bits

class KnownTask final : public TaskName {
public:
    explicit KnownTask(const TaskPower& power) : power_(power) {}
    std::optional<TaskPower> power() const override { return power_; }

private:
    TaskPower power_;
};

}  // namespace

std::unique_ptr<TaskName> LinuxTaskCounters::taskName(std::int32_t pid) {
    const LinuxProcess* process = processes_.find(pid);
    if (!process) return nullptr;
    TaskPower power;
    power.energy = static_cast<std::uint64_t>(std::round(std::min(process->energy, largestCount)));
    power.userTime = multiplySaturated(process->userTicks, processes_.nanosecondsPerTick());
    power.systemTime = multiplySaturated(process->systemTicks, processes_.nanosecondsPerTick());
    return std::make_unique<KnownTask>(power);
}

std::optional<TaskDisk> LinuxTaskCounters::disk(std::int32_t pid) {
    LinuxProcess* process = processes_.find(pid);
    if (!process || process->hidesDisk) return std::nullopt;
    std::array<char, 1024> buffer;
    const std::string path = root_.path("/proc/") + ProcessPath(pid, "io").text();
    auto text = readProcessFile(AT_FDCWD, path.c_str(), buffer);
    if (!text) {
        process->hidesDisk = isRefusal(errno);
        return std::nullopt;
    }
    std::optional<std::uint64_t> read;
    std::optional<std::uint64_t> written;
    while (auto line = takeLine(*text)) {
        const std::string_view name = takeWord(*line);
        if (name == "read_bytes:") read = takeCount(*line);
        if (name == "write_bytes:") written = takeCount(*line);
    }
    if (!read || !written) return std::nullopt;
    return TaskDisk{.bytesRead = *read, .bytesWritten = *written};
}

}  // namespace zqm
