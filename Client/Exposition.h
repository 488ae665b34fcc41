#pragma once

#include <string>
#include <variant>

#include "Client/HelperClient.h"
#include "Client/MachineFigures.h"
#include "Client/MetricFamilies.h"
#include "Client/ProgramNames.h"
#include "Client/SampleCounters.h"

namespace zqm {

/// What is known beside an answer; null: nothing.
struct ExpositionContext {
    const MachineFigures* machine = nullptr;   // of the machine that the answer is of
    const SampleCounters* counters = nullptr;  // of one who has watched for a while
    ProgramNames* names = nullptr;             // of the same
    MonotonicTime now{};
};

/// The answer for Prometheus: "zqm_up", one family for each figure of the snapshot, for each ranking and for each
/// counter, and the machine's own figures; of a helper that gave no answer "zqm_up 0" alone.
///
/// What the machine does not tell, or does not have, is left out: a 0 would be taken for a figure. So are the addresses
/// and places of the network record, since a database keeps them for long and shows them to many, and the numbers of
/// processes, since each new one would be a time series of its own for ever; processes are summed by name.
std::string exposition(const HelperAnswer& answer, const ExpositionContext& context = {},
                       MetricsFormat format = MetricsFormat::text);

}  // namespace zqm
