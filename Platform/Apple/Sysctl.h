#pragma once

#include <algorithm>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Platform/Apple/PropertyValue.h"
#include "Support/Text.h"

namespace zqm {

/// Named kernel values. Callable from any thread.
///
/// | name                                   | bytes                                                               |
/// |----------------------------------------|---------------------------------------------------------------------|
/// | "hw.memsize"                           | 8: installed memory                                                 |
/// | "vm.swapusage"                         | 32: total, available, used (8 each, bytes), page size, flag         |
/// | "kern.memorystatus_vm_pressure_level"  | 4: 1 normal, 2 warning, 4 critical                                  |
/// | "kern.boottime"                        | 16: its start by the wall clock: seconds (8), microseconds (4)      |
/// | "hw.nperflevels"                       | 4: kinds of processors                                              |
/// | "hw.perflevelN.name", ".physicalcpu"   | text, 4: kind N, the fastest first, and its number of processors    |
/// | "hw.model", "machdep.cpu.brand_string" | text                                                                |
///
/// Numbers are in the machine's byte order; texts end with a NUL byte.
class Sysctl {
public:
    virtual ~Sysctl() = default;
    /// The value's bytes; nullopt when the name is unknown or cannot be read.
    virtual std::optional<Bytes> read(std::string_view name) = 0;
};

/// The value as a fixed-size record, zero-filled when the kernel's is shorter; nullopt when unknown or longer.
template <class Value>
std::optional<Value> sysctlValue(Sysctl& sysctl, std::string_view name) {
    const auto bytes = sysctl.read(name);
    if (!bytes || bytes->size() > sizeof(Value)) return std::nullopt;
    Value value{};
    std::copy(bytes->begin(), bytes->end(), reinterpret_cast<std::uint8_t*>(&value));
    return value;
}

/// The value as text up to its first NUL byte, repaired where it is no UTF-8; nullopt when unknown or without a byte.
inline std::optional<std::string> sysctlText(Sysctl& sysctl, std::string_view name) {
    const auto bytes = sysctl.read(name);
    if (!bytes || bytes->empty()) return std::nullopt;
    return repairUtf8(std::string(bytes->begin(), std::find(bytes->begin(), bytes->end(), std::uint8_t{0})));
}

}  // namespace zqm
