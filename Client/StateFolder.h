#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace zqm {

/// Where this user's `zephlon web` keeps its history and is to be found, one folder for each helper's port: another
/// port is another machine. nullopt without a home directory. Makes nothing.
std::optional<std::string> stateFolder(std::uint16_t port);

/// "history" in that folder.
std::optional<std::string> historyFolder(std::uint16_t port);

}  // namespace zqm
