#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace zqm {

/// What a file of KEY=VALUE lines, as shells read them, says about `key`, the last line counting; below the heading
/// `section`, if one is given.
std::optional<std::string> assigned(std::string_view text, std::string_view key, std::string_view section = "");

}  // namespace zqm
