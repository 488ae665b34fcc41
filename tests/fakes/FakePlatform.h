#pragma once

#include <map>

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

/// What a map knows of a key.
template <class Map>
std::optional<typename Map::mapped_type> known(const Map& map, std::string_view key) {
    const auto found = map.find(key);
    return found == map.end() ? std::nullopt : std::optional(found->second);
}
template <class Value>
using ByName = std::map<std::string, Value, std::less<>>;

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
            of.clock.advance(of.hangs ? patience : Seconds(0));
            return of.hangs ? std::optional("") : std::nullopt;
        }
        bool isRunning() override { return of.hangs; }
        void terminate() override { of.send("terminate", of.ignoresTermination); }
        void kill() override { of.send("kill", false); }
        FakeCommands& of;
        std::size_t next = 0;
    };
    explicit FakeCommands(VirtualClock& time) : clock(time) {}
    std::unique_ptr<Child> launch(std::string_view path, const std::vector<std::string>& arguments) override {
        line = path;
        for (const std::string& argument : arguments) line += " " + argument;
        return isThere ? std::make_unique<Running>(*this) : nullptr;
    }
    void send(const char* signal, bool stillHangs) {
        signals.emplace_back(signal);
        hangs = stillHangs;
    }
    VirtualClock& clock;
    bool isThere = false, hangs = false, ignoresTermination = false;
    std::vector<std::string> pieces;
    std::string line;                  // what was launched last
    std::vector<std::string> signals;  // what was sent
};

/// No preferences but numbers; conversions are the real store's business.
struct FakeUserDefaults final : UserDefaults {
    double doubleForKey(std::string_view key) override { return known(numbers, key).value_or(0); }
    std::int64_t integerForKey(std::string_view) override { return 0; }
    bool boolForKey(std::string_view) override { return false; }
    bool hasObjectForKey(std::string_view) override { return false; }
    std::optional<std::string> stringForKey(std::string_view) override { return std::nullopt; }
    std::optional<std::vector<std::string>> stringArrayForKey(std::string_view) override { return std::nullopt; }
    std::optional<std::string> sourceForKey(std::string_view) override { return std::nullopt; }
    void setDouble(double value, std::string_view key) override { numbers[std::string(key)] = value; }
    ByName<double> numbers;
};

struct FakeSystemSettings final : SystemSettings {
    SharedContainer sharedContainer(std::string_view) override { return {container, "refused"}; }
    std::optional<std::string> environment(std::string_view name) override { return known(variables, name); }
    std::optional<std::string> container = "/container";
    ByName<std::string> variables;
};

struct FakeFiles final : Files {
    FileContent read(const std::string& file) override {
        const auto text = known(contents, file);
        return {.text = text, .isMissing = !text};
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
    ByName<std::string> contents;
    bool writable = true;
    std::function<void()> beforeLock;  // what another process does first
};

struct FakeLog final : Log {
    void print(std::string_view line) override { lines.emplace_back(line); }
    void system(std::string_view line) override { systemLines.emplace_back(line); }
    std::vector<std::string> lines;
    std::vector<std::string> systemLines;
};

struct FakeConnection final : Connection {
    void receive(std::size_t, std::function<void(std::string_view)> received) override {
        received_ = std::move(received);
    }
    /// The one delivery, after which it lets go of who took it, and with it of itself.
    void say(std::string_view request) { std::exchange(received_, nullptr)(request); }
    void send(std::string message) override {
        body = message.substr(message.find("\r\n\r\n") + 4);
        head = message.substr(0, message.size() - body.size());
    }
    void cancel() override {
        gone = true;
        received_ = nullptr;
    }
    bool isGone(std::string_view) override { return gone; }
    std::string head, body;
    bool gone = false;

private:
    std::function<void(std::string_view)> received_;
};

struct FakeListener final : LoopbackListener {
    std::optional<std::string> start(std::uint16_t,
                                     std::function<void(std::shared_ptr<Connection>)> callback) override {
        accepted = std::move(callback);
        return std::nullopt;
    }
    void post(std::function<void()> task) override { task(); }
    void stop() override { accepted = nullptr; }
    std::function<void(std::shared_ptr<Connection>)> accepted;
};

/// A whole platform of fakes on virtual time, current for its lifetime. Its machine tells nothing.
struct FakePlatform {
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
    Platform platform = with(loop, listener, log);
    ScopedPlatform current{platform};

    /// The same with other services for what runs and speaks.
    Platform with(Dispatch& dispatch, LoopbackListener& anyListener, Log& anyLog) {
        return {
            {absentAppleServices(), nullptr, nullptr, nullptr, facts, facts, facts},
            {commands, userDefaults, systemSettings, httpClient, files, clock, loop, dispatch, anyListener, anyLog}};
    }
};

}  // namespace zqm
