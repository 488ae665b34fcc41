#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Platform/Linux/Kernel/RootDirectory.h"

namespace zqm {

/// Presents the kernel's interfaces under the names of the platform-wide scheme (see NetworkInterfaces.h).
///
/// Device-backed interfaces are counted as "enN", the one that leads out first; bridges, bonds, VLANs and the like
/// carry the same bytes once more and keep their own names. Sysfs can hang for seconds while a driver is busy, so an
/// interface is looked at once, when its name first appears. One thread at a time.
class InterfaceNames {
public:
    explicit InterfaceNames(const RootDirectory& root) : root_(root) {}

    /// The presented names of the interfaces that the kernel calls `names`, in the same order; valid until the next
    /// call. They change only when `names` does.
    const std::vector<std::string>& present(const std::vector<std::string_view>& names);

    /// The presented name of one of the interfaces that were named last; nullopt when it was not among them.
    std::optional<std::string> find(std::string_view name) const;

private:
    enum class Kind { device, tunnel, loopback, other };
    Kind look(const std::string& name) const;
    void number();

    const RootDirectory& root_;
    std::vector<std::string> names_;
    std::map<std::string, Kind> kinds_;  // of the interfaces in names_
    std::vector<std::string> presented_;
};

/// The interface that the IPv4 default route with the lowest metric leads to, from the text of /proc/net/route; empty
/// when there is none. Points into `routes`.
std::string_view defaultRouteInterface(std::string_view routes);

}  // namespace zqm
