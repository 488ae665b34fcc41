#pragma once

#include <cstddef>
#include <cstdint>
#include <type_traits>

namespace zqm {

/// The record that the controller's user client takes and returns, in the machine's byte order.
struct SMCRecord {
    std::uint32_t key = 0;  // four ASCII characters, the first in the most significant byte
    std::uint8_t unused0[24] = {};
    struct KeyInfo {
        std::uint32_t dataSize = 0;
        std::uint32_t dataType = 0;  // four-character code
        std::uint8_t attributes = 0;
        std::uint8_t padding[3] = {};
    } keyInfo;
    std::uint8_t result = 0;  // 0 = success
    std::uint8_t unused1 = 0;
    std::uint8_t command = 0;
    std::uint8_t unused2[5] = {};
    std::uint8_t value[32] = {};
};
static_assert(sizeof(SMCRecord) == 80 && std::is_trivially_copyable_v<SMCRecord>);
static_assert(offsetof(SMCRecord, keyInfo) == 28 && sizeof(SMCRecord::KeyInfo) == 12);
static_assert(offsetof(SMCRecord, result) == 40 && offsetof(SMCRecord, command) == 42);
static_assert(offsetof(SMCRecord, value) == 48);

enum class SMCCommand : std::uint8_t { readKey = 5, readKeyInfo = 9 };

constexpr std::uint32_t fourCharacterCode(const char* text) {
    return static_cast<std::uint32_t>(static_cast<unsigned char>(text[0])) << 24 |
           static_cast<std::uint32_t>(static_cast<unsigned char>(text[1])) << 16 |
           static_cast<std::uint32_t>(static_cast<unsigned char>(text[2])) << 8 |
           static_cast<std::uint32_t>(static_cast<unsigned char>(text[3]));
}

}  // namespace zqm
