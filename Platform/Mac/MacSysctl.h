#pragma once

#include "Platform/Apple/NetworkInterfaces.h"
#include "Platform/Apple/Sysctl.h"
#include "Platform/Mac/Libraries/LibSystem.h"

namespace zqm {

/// The kernel's values by their names, and those of its table of interfaces, whose counters have 64 bits. Callable from
/// any thread.
class MacSysctl final : public Sysctl, public NetworkInterfaces {
public:
    explicit MacSysctl(DynamicLibraries& libraries) : calls_(libraries) {}
    std::optional<Bytes> read(std::string_view name) override;
    std::optional<std::vector<LinkInterface>> links() override;
    /// The value of what is named by numbers alone, with `room` for what it grows by meanwhile; nullopt when the kernel
    /// refuses it.
    std::optional<Bytes> read(std::vector<int> name, std::size_t room = 0);

    /// What the system lacks; empty: nothing.
    const std::string& missing() const { return calls_.missing(); }

private:
    const SysctlCalls calls_;
};

}  // namespace zqm
