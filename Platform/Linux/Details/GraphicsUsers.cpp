#include "Platform/Linux/Details/GraphicsUsers.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <map>
#include <set>

#include "Platform/Linux/Kernel/KernelText.h"
#include "Platform/Linux/Processes/ProcessFiles.h"
#include "Platform/Linux/Processes/ProcessScan.h"
#include "Support/Text.h"

namespace zqm {
namespace {

/// The figures of one engine. A driver tells its time, or its cycles beside all that passed, or both.
struct Engine {
    std::optional<double> nanoseconds, cycles, totalCycles;
    double capacity = 1;  // how many of its kind there are
};

/// Whether `key` begins with `beginning`, which is taken off.
bool take(std::string_view& key, std::string_view beginning) {
    if (!key.starts_with(beginning)) return false;
    key.remove_prefix(beginning.size());
    return true;
}

void takeFigure(std::map<std::string, Engine, std::less<>>& engines, std::string_view key, std::string_view value) {
    const auto count = takeCount(value);
    if (!count) return;
    const auto figure = static_cast<double>(*count);
    if (take(key, "engine-capacity-")) {
        engines[std::string(key)].capacity = std::max(1.0, figure);
    } else if (take(key, "engine-")) {
        engines[std::string(key)].nanoseconds = figure;
    } else if (take(key, "total-cycles-")) {
        engines[std::string(key)].totalCycles = figure;
    } else if (take(key, "cycles-")) {
        engines[std::string(key)].cycles = figure;
    }
}

void addTo(std::vector<EngineUse>& uses, const EngineUse& more) {
    const auto known =
        std::find_if(uses.begin(), uses.end(), [&](const EngineUse& use) { return use.engine == more.engine; });
    if (known == uses.end()) return uses.push_back(more);
    known->busy += more.busy;
    known->passed = more.passed;
}

}  // namespace

std::optional<GraphicsClient> parseGraphicsClient(std::string_view text, MonotonicTime now) {
    constexpr double nanosecondsPerSecond = 1e9;
    GraphicsClient client;
    std::string driver;
    std::optional<std::uint64_t> id;
    std::map<std::string, Engine, std::less<>> engines;
    while (auto line = takeLine(text)) {
        std::string_view key = takeUntil(*line, ':');
        if (!take(key, "drm-")) continue;
        takeFigure(engines, key, *line);
        const std::string_view value = trimBlanks(*line);
        if (key == "driver") driver = value;
        if (key == "pdev") client.device = value;
        if (key == "client-id") id = takeCount(*line);
    }
    if (!id) return std::nullopt;
    client.id = *id;
    if (client.device.empty()) client.device = driver;
    for (const auto& [name, engine] : engines) {
        EngineUse use{.engine = client.device + "/" + name, .busy = 0, .passed = 0};
        if (engine.nanoseconds) {
            use.busy = *engine.nanoseconds;
            use.passed = now.time_since_epoch().count() * nanosecondsPerSecond * engine.capacity;
        } else if (engine.cycles && engine.totalCycles) {
            use.busy = *engine.cycles;
            use.passed = *engine.totalCycles * engine.capacity;
        } else {
            continue;
        }
        client.engines.push_back(std::move(use));
    }
    return client.engines.empty() ? std::nullopt : std::optional(std::move(client));
}

std::vector<GraphicsUser> GraphicsUsers::read() {
    const DirectoryStream directory(::opendir(root_.path("/proc").c_str()));
    if (!directory) return {};
    if (search_.isDue(clock_.monotonic())) {
        pids_.clear();
        while (const dirent* entry = ::readdir(directory.get())) {
            if (const auto pid = parseProcessNumber(entry->d_name)) pids_.push_back(*pid);
        }
    }
    std::map<std::int32_t, std::vector<EngineUse>> engines = nvidia_.read();
    std::vector<std::int32_t> holders;
    for (const std::int32_t pid : pids_) {
        const std::vector<EngineUse> clients = readClients(::dirfd(directory.get()), pid);
        if (clients.empty()) continue;
        holders.push_back(pid);
        engines[pid].insert(engines[pid].end(), clients.begin(), clients.end());
    }
    pids_ = std::move(holders);
    std::vector<GraphicsUser> users;
    for (auto& [pid, uses] : engines) {
        if (auto user = makeUser(::dirfd(directory.get()), pid, std::move(uses))) users.push_back(std::move(*user));
    }
    return users;
}

std::vector<EngineUse> GraphicsUsers::readClients(int directory, std::int32_t pid) {
    const DirectoryStream descriptors = openDirectory(directory, ProcessPath(pid, "fd").text());
    const DirectoryStream facts = openDirectory(directory, ProcessPath(pid, "fdinfo").text());
    if (!descriptors || !facts) return {};
    std::array<char, 4096> buffer;
    std::set<std::pair<std::string, std::uint64_t>> counted;
    std::vector<EngineUse> engines;
    while (const dirent* entry = ::readdir(descriptors.get())) {
        std::array<char, 32> link;
        const ssize_t size = ::readlinkat(::dirfd(descriptors.get()), entry->d_name, link.data(), link.size());
        const std::string_view target(link.data(), static_cast<std::size_t>(std::max<ssize_t>(size, 0)));
        if (!target.starts_with("/dev/dri/")) continue;
        const auto text = readProcessFile(::dirfd(facts.get()), entry->d_name, buffer);
        const auto client = text ? parseGraphicsClient(*text, clock_.monotonic()) : std::nullopt;
        if (!client || !counted.emplace(client->device, client->id).second) continue;
        for (const EngineUse& use : client->engines) addTo(engines, use);
    }
    return engines;
}

/// nullopt when the process is gone.
std::optional<GraphicsUser> GraphicsUsers::makeUser(int directory, std::int32_t pid, std::vector<EngineUse> engines) {
    std::array<char, 4096> buffer;
    const auto text = readProcessFile(directory, ProcessPath(pid, "stat").text(), buffer);
    const auto stat = text ? parseProcessStat(*text) : std::nullopt;
    if (!stat) return std::nullopt;
    ProcessRow row;
    row.pid = pid;
    row.startTime = stat->startTicks;
    row.name = stat->name;
    return GraphicsUser{pid, row.startTime, names_.fullName(row), std::move(engines)};
}

}  // namespace zqm
