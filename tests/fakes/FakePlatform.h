#pragma once

#include <cstring>
#include <map>
#include <set>

#include "Platform/Apple/HostStatistics.h"
#include "Platform/Apple/IOReport.h"
#include "Platform/Apple/NetworkInterfaces.h"
#include "Platform/Apple/PowerSources.h"
#include "Platform/Apple/ProxySettings.h"
#include "Platform/Apple/Registry.h"
#include "Platform/Apple/Sysctl.h"
#include "Platform/Apple/TemperatureSensors.h"
#include "Platform/Machine/ProcessTable.h"
#include "Platform/Machine/SourceReport.h"
#include "Platform/Machine/SystemFacts.h"
#include "Platform/Machine/TaskCounters.h"
#include "Platform/Platform.h"
#include "Platform/Process/Commands.h"
#include "Platform/Process/Files.h"
#include "Platform/Process/HttpClient.h"
#include "Platform/Process/Log.h"
#include "Platform/Process/LoopbackListener.h"
#include "Platform/Process/SystemSettings.h"
#include "Platform/Process/UserDefaults.h"
#include "tests/fakes/VirtualLoop.h"

namespace zqm {

// Services that answer what a test puts into them; nullopt is a failing query.

struct FakeHostStatistics final : HostStatistics {
    std::optional<std::vector<ProcessorTicks>> processorTicks() override { return ticks; }
    std::optional<VirtualMemoryPages> virtualMemory() override { return pages; }
    std::optional<std::uint64_t> pageSize() override { return pageBytes; }

    std::optional<std::vector<ProcessorTicks>> ticks;
    std::optional<VirtualMemoryPages> pages;
    std::optional<std::uint64_t> pageBytes = 16384;
};

struct FakeSysctl final : Sysctl {
    std::optional<Bytes> read(std::string_view name) override {
        const auto found = values.find(name);
        return found == values.end() ? std::nullopt : std::optional(found->second);
    }
    template <class Value>
    void set(const std::string& name, Value value) {
        Bytes bytes(sizeof value);
        std::memcpy(bytes.data(), &value, sizeof value);
        values[name] = bytes;
    }
    void setText(const std::string& name, std::string_view text) {
        values[name] = Bytes(text.begin(), text.end());
        values[name].push_back(0);
    }

    std::map<std::string, Bytes, std::less<>> values;
};

struct FakeNetworkInterfaces final : NetworkInterfaces {
    std::optional<std::vector<LinkInterface>> links() override { return list; }
    std::optional<std::vector<LinkInterface>> list;
};

/// A node of the fake registry; children nullopt: the iterator cannot be made.
struct FakeNode {
    std::optional<std::string> name;
    PropertyDictionary properties;
    std::optional<std::vector<FakeNode>> children = std::vector<FakeNode>{};
};

struct FakeRegistry final : Registry {
    struct Entry final : RegistryEntry {
        Entry(const FakeNode& from, int& count) : node(from), live(count) { ++live; }
        ~Entry() override { --live; }
        std::optional<std::string> name() const override { return node.name; }
        std::optional<std::vector<std::unique_ptr<RegistryEntry>>> children() const override {
            return node.children ? std::optional(entries(*node.children, live)) : std::nullopt;
        }
        std::optional<PropertyValue> property(std::string_view key) const override {
            const PropertyValue* value = find(node.properties, key);
            return value ? std::optional(*value) : std::nullopt;
        }
        std::unique_ptr<UserClient> open(std::uint32_t) const override { return nullptr; }

        const FakeNode& node;
        int& live;
    };
    static std::vector<std::unique_ptr<RegistryEntry>> entries(const std::vector<FakeNode>& nodes, int& live) {
        std::vector<std::unique_ptr<RegistryEntry>> made;
        for (const FakeNode& node : nodes) made.push_back(std::make_unique<Entry>(node, live));
        return made;
    }
    std::optional<std::vector<std::unique_ptr<RegistryEntry>>> services(std::string_view className) override {
        const auto found = classes.find(className);
        if (failing.contains(className)) return std::nullopt;
        return found == classes.end() ? std::vector<std::unique_ptr<RegistryEntry>>{} : entries(found->second, live);
    }

    std::map<std::string, std::vector<FakeNode>, std::less<>> classes;
    std::set<std::string, std::less<>> failing;
    int live = 0;  // handles that have not been given back
};

struct FakeInterfaceAddresses final : InterfaceAddresses {
    std::optional<std::vector<InterfaceAddress>> ipv4() override { return list; }
    std::optional<std::vector<InterfaceAddress>> list;
};

struct FakeProxySettings final : ProxySettings {
    std::optional<PropertyDictionary> proxySettings() override { return proxies; }
    std::optional<PropertyDictionary> proxies;
};

struct FakeSystemFacts final : SystemFacts {
    std::optional<std::string> bundleText(std::string_view key) override {
        const auto found = bundle.find(key);
        return found == bundle.end() ? std::nullopt : std::optional(found->second);
    }
    std::string systemVersion() override { return "Version 15.1 (Build 24B83)"; }
    std::optional<std::string> hardwareModel() override { return model; }
    std::optional<std::string> processorName() override { return processor; }
    std::map<std::string, std::string, std::less<>> bundle;
    std::optional<std::string> model, processor;
};

struct NoSourceReport final : SourceReport {
    SourceDescription describe(MetricFamily) override { return {}; }
};

/// Keeps what is asked of the net; a test answers it, or lets every request be answered at once.
struct FakeHttpClient final : HttpClient {
    void start(HttpRequest request, std::function<void(HttpReply)> completion) override {
        requests.push_back(std::move(request));
        completions.push_back(std::move(completion));
        if (atOnce) completions.back()(*atOnce);
    }
    void stop() override {}
    std::vector<HttpRequest> requests;
    std::vector<std::function<void(HttpReply)>> completions;
    std::optional<HttpReply> atOnce;
};

/// A counter library that cannot be opened, no power sources, no sensors.
struct AbsentIOReport final : IOReport {
    ReportLibrary* open(std::string_view) override { return nullptr; }
};
struct AbsentPowerSources final : PowerSources {
    std::optional<std::vector<std::optional<PropertyDictionary>>> descriptions() override { return std::nullopt; }
    std::optional<PropertyValue> adapterDetails() override { return std::nullopt; }
};
struct AbsentTemperatureSensors final : TemperatureSensors {
    std::optional<std::vector<std::unique_ptr<TemperatureSensor>>> sensors() override { return std::nullopt; }
};

/// Processes as a test lists them; nullopt: the table cannot be read.
struct FakeProcessTable final : ProcessTable {
    std::optional<std::vector<ProcessRow>> processes() override { return rows; }
    std::optional<std::vector<SocketOwner>> socketOwners() override { return owners; }
    std::string fullName(const ProcessRow& row) override { return row.name; }
    std::optional<std::vector<ProcessRow>> rows = std::vector<ProcessRow>{};
    std::optional<std::vector<SocketOwner>> owners = std::vector<SocketOwner>{};
};

/// Counters by pid; a process without is refused.
struct FakeTaskCounters final : TaskCounters {
    struct Name final : TaskName {
        explicit Name(std::optional<TaskPower> answer) : counters(answer) {}
        std::optional<TaskPower> power() const override { return counters; }
        std::optional<TaskPower> counters;
    };
    std::unique_ptr<TaskName> taskName(std::int32_t pid) override {
        ++queries;
        return powers.contains(pid) ? std::make_unique<Name>(powers[pid]) : nullptr;
    }
    std::optional<TaskDisk> disk(std::int32_t pid) override {
        return disks.contains(pid) ? std::optional(disks[pid]) : std::nullopt;
    }
    std::map<std::int32_t, std::optional<TaskPower>> powers;
    std::map<std::int32_t, TaskDisk> disks;
    int queries = 0;
};

/// Programs by path: the pieces that each writes, one per read; a program without cannot be started. After its pieces
/// it has ended, unless it hangs.
struct FakeCommands final : Commands {
    struct Script {
        std::vector<std::string> pieces;
        bool hangs = false;
        bool ignoresTermination = false;
    };
    struct Running final : Child {
        Running(FakeCommands& from, Script program) : commands(from), script(std::move(program)) {}
        std::optional<std::string> read(Seconds patience) override {
            if (next < script.pieces.size()) return script.pieces[next++];
            if (!script.hangs) return std::nullopt;
            commands.clock.advance(patience);
            return "";
        }
        bool isRunning() override { return script.hangs; }
        void terminate() override {
            commands.signals.emplace_back("terminate");
            if (!script.ignoresTermination) script.hangs = false;
        }
        void kill() override {
            commands.signals.emplace_back("kill");
            script.hangs = false;
        }
        FakeCommands& commands;
        Script script;
        std::size_t next = 0;
    };

    explicit FakeCommands(VirtualClock& time) : clock(time) {}
    std::unique_ptr<Child> launch(std::string_view path, const std::vector<std::string>& arguments) override {
        std::string line(path);
        for (const std::string& argument : arguments) line += " " + argument;
        lines.push_back(line);
        const auto found = scripts.find(path);
        return found == scripts.end() ? nullptr : std::make_unique<Running>(*this, found->second);
    }

    VirtualClock& clock;
    std::map<std::string, Script, std::less<>> scripts;
    std::vector<std::string> lines;    // what was launched
    std::vector<std::string> signals;  // what was sent
};

/// No preferences but those of the typed maps; conversions are the real store's business.
struct FakeUserDefaults final : UserDefaults {
    template <class Map>
    static auto get(const Map& map, std::string_view key) {
        const auto found = map.find(key);
        return found == map.end() ? typename Map::mapped_type{} : found->second;
    }
    double doubleForKey(std::string_view key) override { return get(numbers, key); }
    std::int64_t integerForKey(std::string_view key) override { return static_cast<std::int64_t>(get(numbers, key)); }
    bool boolForKey(std::string_view key) override { return get(flags, key); }
    bool hasObjectForKey(std::string_view key) override { return flags.contains(key); }
    std::optional<std::string> stringForKey(std::string_view key) override {
        return texts.contains(key) ? std::optional(get(texts, key)) : std::nullopt;
    }
    std::optional<std::vector<std::string>> stringArrayForKey(std::string_view key) override {
        return lists.contains(key) ? std::optional(get(lists, key)) : std::nullopt;
    }
    void setDouble(double value, std::string_view key) override { numbers[std::string(key)] = value; }

    std::map<std::string, double, std::less<>> numbers;
    std::map<std::string, bool, std::less<>> flags;
    std::map<std::string, std::string, std::less<>> texts;
    std::map<std::string, std::vector<std::string>, std::less<>> lists;
};

struct FakeSystemSettings final : SystemSettings {
    std::optional<std::string> sharedContainer(std::string_view) override { return container; }
    std::optional<std::string> environment(std::string_view name) override {
        const auto found = variables.find(name);
        return found == variables.end() ? std::nullopt : std::optional(found->second);
    }
    std::optional<std::string> container = "/container";
    std::map<std::string, std::string, std::less<>> variables;
};

struct FakeFiles final : Files {
    std::optional<std::string> read(const std::string& file) override {
        const auto found = contents.find(file);
        return found == contents.end() ? std::nullopt : std::optional(found->second);
    }
    std::optional<std::string> replace(const std::string& file, std::string_view content) override {
        if (!writable) return file + ": No space left on device";
        contents[file] = content;
        return std::nullopt;
    }
    void exclusively(const std::string&, const std::function<void()>& body) override {
        if (beforeLock) beforeLock();
        body();
    }
    std::string makeUuid() override { return "0F0E0D0C-0B0A-4908-8706-050403020100"; }

    std::map<std::string, std::string> contents;
    bool writable = true;
    std::function<void()> beforeLock;  // what another process does first
};

struct FakeLog final : Log {
    void print(std::string_view line) override { lines.emplace_back(line); }
    void system(std::string_view line) override { systemLines.emplace_back(line); }
    std::vector<std::string> lines;
    std::vector<std::string> systemLines;
};

struct FakeListener final : LoopbackListener {
    std::optional<std::string> start(std::uint16_t,
                                     std::function<void(std::shared_ptr<Connection>)> callback) override {
        accepted = std::move(callback);
        return error;
    }
    void stop() override { accepted = nullptr; }
    std::optional<std::string> error;
    std::function<void(std::shared_ptr<Connection>)> accepted;
};

/// A whole platform of fakes on virtual time, current for its lifetime.
struct FakePlatform {
    FakeHostStatistics hostStatistics;
    FakeSysctl sysctl;
    FakeNetworkInterfaces networkInterfaces;
    FakeRegistry registry;
    FakeInterfaceAddresses interfaceAddresses;
    FakeSystemFacts systemFacts;
    FakeProxySettings proxySettings;
    NoSourceReport sourceReport;
    FakeHttpClient httpClient;
    AbsentIOReport ioReport;
    AbsentPowerSources powerSources;
    AbsentTemperatureSensors temperatureSensors;
    FakeTaskCounters taskCounters;
    FakeProcessTable processTable;
    FakeUserDefaults userDefaults;
    FakeSystemSettings systemSettings;
    FakeFiles files;
    VirtualClock clock;
    VirtualLoop loop{clock};
    FakeCommands commands{clock};
    FakeListener listener;
    FakeLog log;
    Platform platform = with(loop, listener, log);
    ScopedPlatform current{platform};

    /// The same with other preferences.
    Platform with(UserDefaults& anyDefaults) { return with(loop, listener, log, anyDefaults); }
    /// The same with other services for what runs and speaks.
    Platform with(Dispatch& dispatch, LoopbackListener& anyListener, Log& anyLog) {
        return with(dispatch, anyListener, anyLog, userDefaults);
    }
    Platform with(Dispatch& dispatch, LoopbackListener& anyListener, Log& anyLog, UserDefaults& anyDefaults) {
        return {{{.hostStatistics = hostStatistics,
                  .sysctl = sysctl,
                  .networkInterfaces = networkInterfaces,
                  .interfaceAddresses = interfaceAddresses,
                  .proxySettings = proxySettings,
                  .registry = registry,
                  .ioReport = ioReport,
                  .powerSources = powerSources,
                  .temperatureSensors = temperatureSensors},
                 nullptr,
                 &processTable,
                 nullptr,
                 taskCounters,
                 systemFacts,
                 sourceReport},
                {.commands = commands,
                 .userDefaults = anyDefaults,
                 .systemSettings = systemSettings,
                 .httpClient = httpClient,
                 .files = files,
                 .clock = clock,
                 .mainLoop = loop,
                 .dispatch = dispatch,
                 .listener = anyListener,
                 .log = anyLog}};
    }
};

}  // namespace zqm
