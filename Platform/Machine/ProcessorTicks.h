#pragma once

#include <cstdint>

namespace zqm {

/// Cumulative processor time in the kernel's ticks, each never decreasing except where the kernel corrects itself.
struct ProcessorTicks {
    std::uint64_t user = 0;    // ordinary user code
    std::uint64_t system = 0;  // kernel, interrupts, time taken by a hypervisor
    std::uint64_t idle = 0;    // idle, waiting for input and output included
    std::uint64_t nice = 0;    // user code of lowered priority
    bool operator==(const ProcessorTicks&) const = default;
};

}  // namespace zqm
