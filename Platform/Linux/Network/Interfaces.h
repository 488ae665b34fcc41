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
    /// `aboveCounted` is a bridge, bond, VLAN or the like on an interface that counts.
    enum class Role { counted, aboveCounted, tunnel, loopback, other };
    Role role(std::string_view name);

private:
    enum class Kind { device, tunnel, loopback, other };
    bool list();
    void recognise();
    Kind look(const std::string& name) const;
    bool isNetwork(const std::string& name) const;
    void chooseCounted();
    std::optional<std::size_t> place(std::string_view name) const;
    bool isAboveCounted(const std::string& name, int storeys = 4) const;

    const RootDirectory& root_;
    KernelFile devices_;
    struct Row {
        std::string_view name, counters;
    };
    std::vector<Row> rows_;  // of the current call; kept for its memory
    std::vector<std::string> names_;
    std::map<std::string, Kind> kinds_;  // of the interfaces in names_
    std::vector<bool> isCounted_;        // in the order of names_
};

/// The interfaces that default routes lead to, the lowest metric first, from the text of /proc/net/route or
/// /proc/net/ipv6_route.
std::vector<std::string> defaultRoutes(std::string_view routes);
std::vector<std::string> defaultRoutes6(std::string_view routes);

}  // namespace zqm
