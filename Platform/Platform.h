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
class MachineReadings;
class MainLoop;
class NetworkInterfaces;
class PowerSources;
class ProcessTable;
class ProxySettings;
class Registry;
class SourceReport;
class Sysctl;
class SystemFacts;
class SystemSettings;
class TaskCounters;
class TemperatureSensors;
class UserDefaults;

/// What Apple's kernel and frameworks tell, in their shapes. A machine that speaks plainly has `absentAppleServices()`.
struct AppleServices {
    HostStatistics& hostStatistics;
    Sysctl& sysctl;
    NetworkInterfaces& networkInterfaces;
    InterfaceAddresses& interfaceAddresses;
    ProxySettings& proxySettings;
    Registry& registry;
    IOReport& ioReport;
    PowerSources& powerSources;
    TemperatureSensors& temperatureSensors;
};

/// Services that find nothing and fail in every call.
AppleServices absentAppleServices();

/// What a backend tells of its machine.
struct MachineServices : AppleServices {
    MachineReadings* readings;   // null: the machine speaks Apple's language
    ProcessTable* processTable;  // null: commands print the table
    Commands* printers;          // of the process table; null: the system's own commands
    TaskCounters& taskCounters;
    SystemFacts& systemFacts;
    SourceReport& sourceReport;
};

/// What every program on a POSIX system has, whatever the machine.
struct ProcessServices {
    Commands& commands;
    UserDefaults& userDefaults;
    SystemSettings& systemSettings;
    HttpClient& httpClient;
    Files& files;
    Clock& clock;
    MainLoop& mainLoop;
    Dispatch& dispatch;
    LoopbackListener& listener;
    Log& log;
};

/// Everything that the program asks of the world, one small interface per service.
///
/// A platform is put together from services: the machine's differ from backend to backend, the process's are the same
/// on every POSIX system, and a test replaces just the one it is about. All of them outlive the program's objects.
struct Platform : MachineServices, ProcessServices {
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
