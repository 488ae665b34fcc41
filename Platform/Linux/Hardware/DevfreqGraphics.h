#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "Platform/Linux/Kernel/KernelFile.h"
#include "Platform/Linux/Kernel/RootDirectory.h"
#include "Platform/Machine/MachineReadings.h"
#include "Platform/Machine/SourceReport.h"

namespace zqm {

/// The GPU of an ARM chip, whose clock the kernel's devfreq steers. Its files show what devfreq did last: to read them
/// wakes nothing. One thread at a time.
class DevfreqGraphics {
public:
    /// Whether a name of /sys/class/devfreq is a GPU's, not a bus's or a memory's: "fb000000.gpu", "1c00000.mali".
    static bool isGraphics(std::string_view name);

    DevfreqGraphics(const RootDirectory& root, std::string name);

    /// Without the time.
    GraphicsReading read();
    /// The file that is read for a family; null where there is none.
    const KernelFile* file(MetricFamily family) const;

private:
    std::string name_;
    KernelFile clock_;
    std::optional<KernelFile> load_;
    double wholeLoad_ = 100;
    std::optional<double> mostMegahertz_;
};

}  // namespace zqm
