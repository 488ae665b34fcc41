#pragma once

#include <cstdint>
#include <memory>

#include "Platform/Process/Folder.h"

namespace zqm {

/// Where this user's `zephlon web` is to be found, one folder for each helper's port: another port is another machine.
/// Null without a home directory.
std::unique_ptr<Folder> stateFolder(std::uint16_t port);

/// Where it keeps its history, in that folder.
std::unique_ptr<Folder> historyFolder(std::uint16_t port);

}  // namespace zqm
