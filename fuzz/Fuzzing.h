#pragma once

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string_view>

// What every fuzz target shares. A target is one source; its corpus is corpus/NAME, its words NAME.dict.

namespace zqm {

/// Ends the run with a finding unless `holds`.
inline void require(bool holds, const char* what) {
    if (holds) return;
    std::fprintf(stderr, "does not hold: %s\n", what);
    std::abort();
}

inline std::string_view textOf(const std::uint8_t* data, std::size_t size) {
    return {reinterpret_cast<const char*>(data), size};
}

/// Takes the first byte off `input`, as a choice among `count`.
inline unsigned takeChoice(std::string_view& input, unsigned count) {
    if (input.empty()) return 0;
    const auto byte = static_cast<unsigned char>(input.front());
    input.remove_prefix(1);
    return byte % count;
}

}  // namespace zqm

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);
