#pragma once

#include <string_view>

#include "Platform/Linux/Details/LinuxDetails.h"
#include "Platform/Linux/Kernel/RootDirectory.h"
#include "Platform/Linux/LinuxReadings.h"
#include "Platform/Linux/LinuxSystemFacts.h"
#include "Platform/Linux/Processes/LinuxProcessTable.h"
#include "Platform/Linux/Processes/LinuxTaskCounters.h"
#include "Platform/Machine.h"
#include "Platform/Posix/PosixClock.h"
#include "Platform/Posix/PosixSettings.h"

namespace zqm {

/// A Linux machine, read below a root directory: this one at "/", or one whose /proc and /sys were recorded elsewhere.
/// Files are opened when they are first asked for.
class LinuxMachine final : public Machine, private SourceReport {
public:
    explicit LinuxMachine(std::string_view root = "/") : LinuxMachine(root, systemClock_) {}
    /// With a clock for the intervals between readings.
    LinuxMachine(std::string_view root, Clock& clock);

    MachineServices services() override;
    MachineDetails* details() override { return &details_; }

private:
    SourceDescription describe(MetricFamily family) override;

    PosixClock systemClock_;
    PosixSettings environment_;
    RootDirectory root_;
    LinuxReadings readings_;
    LinuxProcessTable processTable_;
    LinuxTaskCounters taskCounters_;
    LinuxSystemFacts systemFacts_;
    LinuxDetails details_;
};

}  // namespace zqm
