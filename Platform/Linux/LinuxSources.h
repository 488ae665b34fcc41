#pragma once

#include "Platform/Linux/Kernel/RootDirectory.h"
#include "Platform/Machine/SourceReport.h"

namespace zqm {

/// Which file of /proc or /sys each family is read from, found out by opening it.
class LinuxSources final : public SourceReport {
public:
    explicit LinuxSources(const RootDirectory& root) : root_(root) {}
    SourceDescription describe(MetricFamily family) override;

private:
    const RootDirectory& root_;
};

}  // namespace zqm
