#pragma once

#include <string>
#include <utility>

#include "Platform/Linux/Details/FileSystems.h"
#include "Platform/Linux/Details/GraphicsUsers.h"
#include "Platform/Linux/Details/NamedSensors.h"
#include "Platform/Machine/MachineDetails.h"

namespace zqm {

/// What a Linux machine tells people besides its figures.
class LinuxDetails final : public MachineDetails {
public:
    /// `readings` of the same machine, on the same thread; all outlive it.
    LinuxDetails(const RootDirectory& root, MachineReadings& readings, Clock& clock, std::string nvidiaLibrary)
        : root_(root), readings_(readings), graphicsUsers_(root, clock, std::move(nvidiaLibrary)) {}

    std::optional<MachineSize> size() override;
    std::vector<DriveReading> drives() override { return readings_.drives().value_or(std::vector<DriveReading>{}); }
    std::vector<InterfaceReading> interfaces() override {
        return readings_.interfaces().value_or(std::vector<InterfaceReading>{});
    }
    std::vector<GraphicsUser> graphicsUsers() override { return graphicsUsers_.read(); }
    bool isRunning(std::int32_t pid) override { return root_.exists("/proc/" + std::to_string(pid)); }
    std::optional<ProcessFacts> process(std::int32_t pid) override;
    std::vector<FileSystem> fileSystems() override { return readFileSystems(root_); }
    std::optional<std::array<double, 3>> loadAverages() override;
    std::optional<Seconds> uptime() override;
    std::vector<SensorFigure> temperatures() override { return readTemperatures(root_); }
    std::vector<SensorFigure> fans() override { return readFans(root_); }

private:
    const RootDirectory& root_;
    MachineReadings& readings_;
    GraphicsUsers graphicsUsers_;
};

}  // namespace zqm
