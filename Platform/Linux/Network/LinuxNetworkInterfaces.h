#pragma once

#include <string_view>
#include <vector>

#include "Platform/Apple/NetworkInterfaces.h"
#include "Platform/Linux/Kernel/KernelFile.h"
#include "Platform/Linux/Network/InterfaceNames.h"

namespace zqm {

/// The interfaces of /proc/net/dev and their 64-bit counters: one read per call.
class LinuxNetworkInterfaces final : public NetworkInterfaces {
public:
    explicit LinuxNetworkInterfaces(const RootDirectory& root) : devices_(root.path("/proc/net/dev")), names_(root) {}

    std::optional<std::vector<LinkInterface>> links() override;

    /// The name under which links() lists the interface that the kernel calls `kernelName`; the list is read again only
    /// when it did not know the interface yet. nullopt: there is none. Not during a call of links().
    std::optional<std::string> presentedName(std::string_view kernelName);

private:
    KernelFile devices_;
    InterfaceNames names_;
    std::vector<std::string_view> kernelNames_;  // of the current call; kept for its memory
};

}  // namespace zqm
