#pragma once

#include <cstdint>
#include <optional>

#include "Platform/Process/Clock.h"

namespace zqm {

/// Two cumulative byte counters of one source.
struct BytePair {
    std::uint64_t incoming = 0;  // received, read
    std::uint64_t outgoing = 0;  // sent, written
};

/// Bytes per second in both directions.
struct ByteRates {
    double incoming = 0;
    double outgoing = 0;
};

/// Turns readings of a pair of counters into rates between each reading and the one before it: 0 for the first, for a
/// counter that went down, and when no time has passed.
class Throughput {
public:
    ByteRates update(BytePair current, MonotonicTime now);

private:
    struct Reading {
        BytePair bytes;
        MonotonicTime time;
    };
    std::optional<Reading> previous_;
};

}  // namespace zqm
