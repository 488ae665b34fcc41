#pragma once

#include <map>

#include "Platform/Apple/NetworkInterfaces.h"
#include "Platform/Apple/ProxySettings.h"
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

struct FakeInterfaceAddresses final : InterfaceAddresses {
    std::optional<std::vector<InterfaceAddress>> ipv4() override { return list; }
    std::optional<std::vector<InterfaceAddress>> list;
};

struct FakeProxySettings final : ProxySettings {
    std::optional<PropertyDictionary> proxySettings() override { return proxies; }
    std::optional<PropertyDictionary> proxies;
};

/// What a machine of fakes does not tell.
struct NoFacts final : SystemFacts, SourceReport, TaskCounters {
    std::optional<std::string> bundleText(std::string_view) override { return std::nullopt; }
    std::string systemVersion() override { return "Version 15.1 (Build 24B83)"; }
    std::optional<std::string> hardwareModel() override { return std::nullopt; }
    std::optional<std::string> processorName() override { return std::nullopt; }
    SourceDescription describe(MetricFamily) override { return {}; }
    std::unique_ptr<TaskName> taskName(std::int32_t) override { return nullptr; }
    std::optional<TaskDisk> disk(std::int32_t) override { return std::nullopt; }
};

/// Keeps what is asked of the net; a test answers it, or lets every request be answered at once.
struct FakeHttpClient final : HttpClient {
    void start(HttpRequest request, std::function<void(HttpReply)> completion) override {
        requests.push_back(std::move(request));
        completions.push_back(std::move(completion));
        if (atOnce) completions.back()(*atOnce);
    }
    std::vector<std::string> obstacles() override { return {}; }
    void stop() override {}
    std::vector<HttpRequest> requests;
    std::vector<std::function<void(HttpReply)>> completions;
    std::optional<HttpReply> atOnce;
};

/// One program, where it is there: it writes its pieces, one per read, and has then ended, unless it hangs.
struct FakeCommands final : Commands {
    struct Running final : Child {
        explicit Running(FakeCommands& program) : of(program) {}
        std::optional<std::string> read(Seconds patience) override {
            if (next < of.pieces.size()) return of.pieces[next++];
            if (!of.hangs) return std::nullopt;
            of.clock.advance(patience);
            return "";
        }
        bool isRunning() override { return of.hangs; }
        void terminate() override {
            of.signals.emplace_back("terminate");
            of.hangs = of.ignoresTermination;
        }
        void kill() override {
            of.signals.emplace_back("kill");
            of.hangs = false;
        }
        FakeCommands& of;
        std::size_t next = 0;
    };

    explicit FakeCommands(VirtualClock& time) : clock(time) {}
    std::unique_ptr<Child> launch(std::string_view path, const std::vector<std::string>& arguments) override {
        line = path;
        for (const std::string& argument : arguments) line += " " + argument;
        return isThere ? std::make_unique<Running>(*this) : nullptr;
    }

    VirtualClock& clock;
    bool isThere = false, hangs = false, ignoresTermination = false;
    std::vector<std::string> pieces;
    std::string line;                  // what was launched last
    std::vector<std::string> signals;  // what was sent
};

/// No preferences but numbers; conversions are the real store's business.
struct FakeUserDefaults final : UserDefaults {
    double doubleForKey(std::string_view key) override { return numbers.contains(key) ? numbers.find(key)->second : 0; }
    std::int64_t integerForKey(std::string_view) override { return 0; }
    bool boolForKey(std::string_view) override { return false; }
    bool hasObjectForKey(std::string_view) override { return false; }
    std::optional<std::string> stringForKey(std::string_view) override { return std::nullopt; }
    std::optional<std::vector<std::string>> stringArrayForKey(std::string_view) override { return std::nullopt; }
    std::optional<std::string> sourceForKey(std::string_view) override { return std::nullopt; }
    void setDouble(double value, std::string_view key) override { numbers[std::string(key)] = value; }

    std::map<std::string, double, std::less<>> numbers;
};

struct FakeSystemSettings final : SystemSettings {
    SharedContainer sharedContainer(std::string_view) override { return {container, "refused"}; }
    std::optional<std::string> environment(std::string_view name) override {
        const auto found = variables.find(name);
        return found == variables.end() ? std::nullopt : std::optional(found->second);
    }
    std::optional<std::string> container = "/container";
    std::map<std::string, std::string, std::less<>> variables;
};

struct FakeFiles final : Files {
    FileContent read(const std::string& file) override {
        const auto found = contents.find(file);
        return found == contents.end() ? FileContent{.isMissing = true} : FileContent{.text = found->second};
    }
    std::optional<std::string> replace(const std::string& file, std::string_view content) override {
        if (!writable) return file + ": No space left on device";
        contents[file] = content;
        return std::nullopt;
    }
    std::optional<std::string> update(const std::string& file, std::string_view content) override {
        return replace(file, content);
    }
    void remove(const std::string& file) override { contents.erase(file); }
    void removeLeftovers(const std::string&) override {}
    void exclusively(const std::string&, const std::function<void(bool)>& body) override {
        if (beforeLock) beforeLock();
        body(true);
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
    void post(std::function<void()> task) override { task(); }
    void stop() override { accepted = nullptr; }
    std::optional<std::string> error;
    std::function<void(std::shared_ptr<Connection>)> accepted;
};

/// A whole platform of fakes on virtual time, current for its lifetime. Its machine tells of nothing but the network.
struct FakePlatform {
    FakeInterfaceAddresses interfaceAddresses;
    FakeProxySettings proxySettings;
    NoFacts facts;
    FakeHttpClient httpClient;
    FakeUserDefaults userDefaults;
    FakeSystemSettings systemSettings;
    FakeFiles files;
    VirtualClock clock;
    VirtualLoop loop{clock};
    FakeCommands commands{clock};
    FakeListener listener;
    FakeLog log;
    Platform platform = with(loop, listener, log, userDefaults);
    ScopedPlatform current{platform};

    /// The same with other preferences.
    Platform with(UserDefaults& anyDefaults) { return with(loop, listener, log, anyDefaults); }
    /// The same with other services for what runs and speaks.
    Platform with(Dispatch& dispatch, LoopbackListener& anyListener, Log& anyLog) {
        return with(dispatch, anyListener, anyLog, userDefaults);
    }
    Platform with(Dispatch& dispatch, LoopbackListener& anyListener, Log& anyLog, UserDefaults& anyDefaults) {
        const AppleServices none = absentAppleServices();
        const AppleServices apple{none.hostStatistics, none.sysctl,       none.networkInterfaces,
                                  interfaceAddresses,  proxySettings,     none.registry,
                                  none.ioReport,       none.powerSources, none.temperatureSensors};
        return {{apple, nullptr, nullptr, nullptr, facts, facts, facts},
                {commands, anyDefaults, systemSettings, httpClient, files, clock, loop, dispatch, anyListener, anyLog}};
    }
};

}  // namespace zqm
