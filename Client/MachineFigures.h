#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "Client/ThisMachine.h"

namespace zqm {

/// What this machine tells beside a sample of it, for a database.
struct MachineFigures {
    MachineFacts facts;  // without rates
    std::optional<WallTime> bootTime;
    std::vector<DriveReading> drives;  // their counters, which never fall
    std::vector<InterfaceReading> interfaces;
};

/// Makes counters that never fall of those that begin anew when a device is replaced. One thread at a time.
class SteadyCounters {
public:
    /// The bytes of the device's counter, and what it had counted before it last began anew.
    std::uint64_t steady(const std::string& device, std::uint64_t bytes);

private:
    struct Count {
        std::uint64_t before = 0, last = 0;
    };
    std::map<std::string, Count> counts_;
};

/// Looks at this machine again and again. One thread at a time; a look may wait for a device that hangs.
class MachineFiguresReader {
public:
    MachineFiguresReader(std::string_view root, Clock& clock) : machine_(root), clock_(clock) {}

    /// nullopt beside another machine's sample. Counters are of now; everything else, which takes more of the machine
    /// than a sample does, is read again after ten seconds.
    std::optional<MachineFigures> look(const SystemSnapshot& sample);

private:
    void readFacts(const SystemSnapshot& sample);

    ThisMachine machine_;
    Clock& clock_;
    std::optional<MonotonicTime> factsAt_;
    MachineDetails* details_ = nullptr;  // null: the samples are another machine's
    MachineFigures figures_;
    SteadyCounters counters_;
};

}  // namespace zqm
