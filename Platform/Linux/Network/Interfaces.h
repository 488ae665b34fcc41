#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Platform/Linux/Kernel/KernelFile.h"
#include "Platform/Linux/Kernel/RootDirectory.h"
#include "Platform/Machine/MachineReadings.h"
#include "Platform/Machine/SourceReport.h"

namespace zqm {

/// The interfaces of /proc/net/dev: one read per call. One thread at a time.
///
/// Those with a device behind them are counted; bridges, bonds, VLANs and the like carry the same bytes once more. In a
/// container no interface has one; there the one that leads out is counted. Sysfs can hang for seconds while a driver
/// is busy, so an interface is looked at once, when its name first appears.
class Interfaces {
public:
    explicit Interfaces(const RootDirectory& root) : root_(root), devices_(root.path("/proc/net/dev")) {}

    /// Those that are counted, in the kernel's order; nullopt when the file cannot be read.
    std::optional<std::vector<InterfaceReading>> read();
    SourceDescription describe() const { return root_.describe(devices_); }

    /// What an interface is for the machine's addresses; reads the list anew when it does not know the name yet.
    enum class Role { leadsOut, counted, tunnel, other };
    Role role(std::string_view name);

private:
    enum class Kind { device, tunnel, loopback, other };
    bool list();
    void recognise();
    Kind look(const std::string& name) const;
    void chooseCounted();
    bool isKnown(std::string_view name) const;

    const RootDirectory& root_;
    KernelFile devices_;
    struct Row {
        std::string_view name, counters;
    };
    std::vector<Row> rows_;  // of the current call; kept for its memory
    std::vector<std::string> names_;
    std::map<std::string, Kind> kinds_;  // of the interfaces in names_
    std::vector<bool> isCounted_;        // in the order of names_
    std::string leadsOut_;               // empty: none that is counted
};

/// The interface that the IPv4 default route with the lowest metric leads to, from the text of /proc/net/route; empty
/// when there is none. Points into `routes`.
std::string_view defaultRouteInterface(std::string_view routes);

}  // namespace zqm
