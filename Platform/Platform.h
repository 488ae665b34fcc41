#pragma once

namespace zqm {

class Clock;
class Commands;
class Dispatch;
class Files;
class HostStatistics;
class HttpClient;
class InterfaceAddresses;
class IOReport;
class Log;
class LoopbackListener;
class MainLoop;
class NetworkInterfaces;
class PowerSources;
class ProcessTable;
class Registry;
class Sysctl;
class SystemFacts;
class SystemSettings;
class TaskCounters;
class TemperatureSensors;
class UserDefaults;

/// Everything that the program asks of the world, one small interface per service.
///
/// A platform is put together from services: the machine's differ from backend to backend, the process's are the same
/// on every POSIX system, and a test replaces just the one it is about. All of them outlive the program's objects.
struct Platform {
    // The machine.
    HostStatistics& hostStatistics;
    Sysctl& sysctl;
    NetworkInterfaces& networkInterfaces;
    InterfaceAddresses& interfaceAddresses;
    Registry& registry;
    IOReport& ioReport;
    PowerSources& powerSources;
    TemperatureSensors& temperatureSensors;
    TaskCounters& taskCounters;
    ProcessTable* processTable;  // null: the machine has none, commands print the same
    Commands& commands;          // on a described machine they print what the description says
    // The user and the process.
    UserDefaults& userDefaults;
    SystemSettings& systemSettings;
    SystemFacts& systemFacts;
    HttpClient& httpClient;
    Files& files;
    Clock& clock;
    MainLoop& mainLoop;
    Dispatch& dispatch;
    LoopbackListener& listener;
    Log& log;

    /// The platform of this process. Set once by `main` before any thread is made; the program's only global.
    static Platform& current();
    static bool hasCurrent();
};

/// Makes `platform` the current one for a scope.
class ScopedPlatform {
public:
    explicit ScopedPlatform(Platform& platform);
    ~ScopedPlatform();
    ScopedPlatform(const ScopedPlatform&) = delete;
    ScopedPlatform& operator=(const ScopedPlatform&) = delete;

private:
    Platform* previous_;
};

}  // namespace zqm
