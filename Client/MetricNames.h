#pragma once

#include <string>
#include <string_view>

#include "Support/Schema.h"

namespace zqm {

/// What a field of the snapshot is called for Prometheus.
struct MetricName {
    std::string family;                // "zqm_cpu_frequency_hertz"
    std::string_view label = {};       // that tells it from the family's other fields: "kind"; often none
    std::string_view labelValue = {};  // "efficiency"
    std::string_view note = {};        // a sentence with what the name does not say; often none
    double factor = 1;                 // from the field's unit to the family's
};

/// The name of `field` in `record` (empty for a field of the snapshot itself).
///
/// By rule: "zqm", the record, the field's words, the base unit, so that `memory.swapUsedBytes` is
/// "zqm_memory_swap_used_bytes" and a new field has its name without being told of here. A table holds the exceptions:
/// fields that are one figure for several labels, and those whose rule's name would mislead.
MetricName metricName(std::string_view record, std::string_view field, Unit unit);

}  // namespace zqm
