#pragma once

#include <string_view>

#include "Platform/Linux/LinuxHostStatistics.h"
#include "Platform/Linux/LinuxNetworkInterfaces.h"
#include "Platform/Linux/LinuxRegistry.h"
#include "Platform/Linux/LinuxSysctl.h"

namespace zqm {

/// A Linux machine, read below a root directory: this one at "/", or one whose /proc and /sys were recorded elsewhere.
/// Its members are the services that a Platform refers to; files are opened when they are first asked for.
class LinuxMachine {
public:
    explicit LinuxMachine(std::string_view root = "/") : root_(root) {}
    LinuxMachine(const LinuxMachine&) = delete;
    LinuxMachine& operator=(const LinuxMachine&) = delete;

private:
    RootDirectory root_;
    LinuxProcessors processors_{root_};
    MemoryInfoSource memory_{root_};

public:
    LinuxHostStatistics hostStatistics{root_, processors_, memory_};
    LinuxSysctl sysctl{root_, processors_, memory_};
    LinuxNetworkInterfaces networkInterfaces{root_};
    LinuxRegistry registry{root_, processors_};
};

}  // namespace zqm
