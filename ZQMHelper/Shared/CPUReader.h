#pragma once

#include <memory>
#include <optional>
#include <vector>

#include "Platform/Apple/Registry.h"
#include "Platform/Machine/ProcessorTicks.h"
#include "Platform/Platform.h"
#include "ZQMHelper/Shared/Metrics.h"

namespace zqm {

/// The machine's processor nodes, the children "cpuN" of its first "AppleARMPE" service, by ascending number N (equal
/// numbers in the registry's order); nullopt when there is no such service or it has no list of children.
std::optional<std::vector<std::unique_ptr<RegistryEntry>>> processorNodes(Registry& registry);

/// How busy each logical processor was since the previous sample, and of which kind it is.
///
/// Usage comes from the kernel's ticks: busy time is user + system + nice, the rest is idle. The first sample, and one
/// that finds another number of processors, reads 0 everywhere. Used from one thread at a time.
class CPUReader {
public:
    explicit CPUReader(Platform& platform = Platform::current());

    /// `perCoreUsage`, `coreKinds` and `totalUsage`; empty when the kernel does not answer.
    CPUMetrics sample();

    /// The processors' kinds by index: as the machine tells them, else from the registry's processor nodes, or, when
    /// none of these tells, from the kernel's performance levels; empty when the registry has no processor nodes at
    /// all.
    static std::vector<CoreKind> detectCoreKinds(Platform& platform);
    /// As many efficiency and then performance kinds as the kernel's performance levels count.
    static std::vector<CoreKind> perfLevelFallback(Platform& platform);

private:
    Platform& platform_;
    std::vector<CoreKind> coreKinds_;
    std::vector<ProcessorTicks> previousTicks_;
};

}  // namespace zqm
