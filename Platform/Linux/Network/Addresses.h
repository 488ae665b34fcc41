#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "Platform/Linux/Kernel/Cadence.h"
#include "Platform/Linux/Kernel/KernelFile.h"
#include "Platform/Linux/Network/Interfaces.h"
#include "Platform/Linux/Network/KernelAddresses.h"
#include "Platform/Machine/MachineReadings.h"
#include "Platform/Machine/SourceReport.h"
#include "Platform/Process/Clock.h"

namespace zqm {

/// Which of the machine's IPv4 addresses it is known by. One thread at a time.
///
/// Bytes are counted where a device is; the address is that of the interface which leads out, be it a bridge, a bond or
/// a VLAN, as long as it is no tunnel. This machine's are asked of rtnetlink every three seconds; below another root
/// they are worked out from its routing tables each time.
class Addresses {
public:
    /// `interfaces` and `clock` outlive it.
    Addresses(const RootDirectory& root, Interfaces& interfaces, Clock& clock);

    AddressReading read();
    SourceDescription describe() const;

private:
    AddressReading choose(const std::vector<KernelAddress>& addresses, const std::string& leadsOut);
    std::string interfaceThatLeadsOut();
    std::optional<std::vector<KernelAddress>> readTables();

    const RootDirectory& root_;
    const bool asksKernel_;
    Interfaces& interfaces_;
    Clock& clock_;
    KernelAddresses kernel_;
    Cadence asking_{Seconds(3)};
    AddressReading last_;
    KernelFile addressTable_;
    KernelFile routes_;
    KernelFile routes6_;
};

}  // namespace zqm
