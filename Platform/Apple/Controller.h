#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>

#include "Platform/Apple/Registry.h"

namespace zqm {

/// What the system management controller holds under a key.
struct ControllerValue {
    std::uint32_t type = 0;  // four-character code
    std::array<std::uint8_t, 32> bytes{};

    /// Of type "flt " (or with a NUL byte at its end), in the machine's byte order; nullopt for other types.
    std::optional<double> real() const;
    /// The same, and the types that older machines have beside it: "ui8 ", and "fpe2", which counts quarters.
    std::optional<double> number() const;
};

/// A connection to the controller; null when there is none, or it refuses.
std::unique_ptr<UserClient> openController(Registry& registry);

/// nullopt when the controller has no such key, or fails. `key` has four ASCII characters. One call at a time.
std::optional<ControllerValue> readController(UserClient& connection, std::string_view key);

}  // namespace zqm
