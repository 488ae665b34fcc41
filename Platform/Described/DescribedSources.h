#pragma once

#include "Platform/Described/MachineModel.h"
#include "Platform/Machine/SourceReport.h"

namespace zqm {

/// Which section of a description each family is read from.
class DescribedSources final : public SourceReport {
public:
    explicit DescribedSources(const MachineModel& model) : model_(model) {}
    SourceDescription describe(MetricFamily family) override;

private:
    const MachineModel& model_;
};

}  // namespace zqm
