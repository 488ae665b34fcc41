#pragma once

#include <string>

#include "Platform/Linux/Kernel/Cadence.h"
#include "Platform/Linux/Kernel/RootDirectory.h"
#include "Platform/Machine/MachineReadings.h"
#include "Platform/Machine/SourceReport.h"
#include "Platform/Process/Clock.h"
#include "Platform/Process/SystemSettings.h"

namespace zqm {

/// The proxies of the environment, else of the desktop's and the system's files (read every 10 seconds at most). One
/// thread at a time.
class Proxies {
public:
    /// The others outlive it.
    Proxies(const RootDirectory& root, SystemSettings& settings, Clock& clock)
        : root_(root), settings_(settings), clock_(clock) {}

    ProxyReading read();
    SourceDescription describe();

private:
    struct Found {
        ProxyReading proxy;
        std::string place;  // the file, or the environment
    };
    Found find();
    Found findInFiles() const;
    std::string userConfiguration(std::string_view file) const;

    const RootDirectory& root_;
    SystemSettings& settings_;
    Clock& clock_;
    Cadence fileReading_{Seconds(10)};
    Found ofFiles_;
};

}  // namespace zqm
