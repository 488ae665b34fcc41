#pragma once

#include "Platform/Mac/MacSysctl.h"
#include "Platform/Machine/MachineDetails.h"
#include "Platform/Platform.h"

namespace zqm {

/// What a Mac tells people besides its figures. A function that is missing, or a service that fails, costs what comes
/// from it alone.
class MacDetails final : public MachineDetails {
public:
    /// `sysctl` is the one of `services`, which outlive it, as does the clock.
    MacDetails(DynamicLibraries& libraries, const AppleServices& services, MacSysctl& sysctl, Clock& clock)
        : calls_(libraries), services_(services), sysctl_(sysctl), clock_(clock) {}

    std::optional<MachineSize> size() override;
    std::vector<DriveReading> drives() override;
    std::vector<InterfaceReading> interfaces() override;
    /// None: the system tells no ordinary process how much of a graphics processor another one uses.
    std::vector<GraphicsUser> graphicsUsers() override { return {}; }
    bool isRunning(std::int32_t pid) override;
    std::optional<ProcessFacts> process(std::int32_t pid) override;
    std::vector<FileSystem> fileSystems() override;
    std::optional<std::array<double, 3>> loadAverages() override;
    std::optional<Seconds> uptime() override;
    /// By the names of the event system, as "PMU tdie1".
    std::vector<SensorFigure> temperatures() override;
    /// By number: the controller keeps no names that every machine has.
    std::vector<SensorFigure> fans() override;

private:
    const DetailCalls calls_;
    const AppleServices services_;
    MacSysctl& sysctl_;
    Clock& clock_;
};

}  // namespace zqm
