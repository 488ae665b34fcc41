#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace zqm {

/// The unsigned 32-bit little-endian number at `offset`, which must leave four bytes.
constexpr std::uint32_t littleEndian32(std::span<const std::uint8_t> bytes, std::size_t offset) {
    return static_cast<std::uint32_t>(bytes[offset]) | static_cast<std::uint32_t>(bytes[offset + 1]) << 8 |
           static_cast<std::uint32_t>(bytes[offset + 2]) << 16 | static_cast<std::uint32_t>(bytes[offset + 3]) << 24;
}

}  // namespace zqm
