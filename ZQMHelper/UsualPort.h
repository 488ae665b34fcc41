#pragma once

#include <cstdint>

namespace zqm {

/// Where the helper serves on 127.0.0.1, and its client asks, unless somebody says otherwise.
constexpr std::uint16_t usualPort = 18932;

}  // namespace zqm
