#pragma once

#include <optional>

#include "Platform/Linux/Kernel/Cadence.h"
#include "Platform/Linux/Kernel/KernelFile.h"
#include "Platform/Linux/Kernel/RootDirectory.h"
#include "Platform/Machine/SourceReport.h"
#include "Platform/Process/Clock.h"

namespace zqm {

/// A chip that measures what the whole machine draws, as Apple's computers have it: the sensor of hwmon that bears the
/// label "Total System Power". It is looked for once a minute. One thread at a time.
class PowerMeter {
public:
    PowerMeter(const RootDirectory& root, Clock& clock) : root_(root), clock_(clock) {}

    /// Watts now; nullopt without such a chip, or when it says nothing plausible.
    std::optional<double> watts();
    SourceDescription describe();

private:
    void discover();

    const RootDirectory& root_;
    Clock& clock_;
    Cadence discovery_{Seconds(60)};
    std::optional<KernelFile> microwatts_;
};

}  // namespace zqm
