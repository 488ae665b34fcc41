#pragma once

#include <filesystem>
#include <string>
#include <string_view>

#include "Platform/Platform.h"

namespace zqm {

/// The group whose programs share the container in which the token lies.
constexpr std::string_view appGroup = "Q4T7LWX2PN.xyz.tallvek.Zephlon";
constexpr std::string_view tokenFileName = "helper-token";

/// The installation's token: the text of the file "helper-token" in `container` without the white space around it.
///
/// When the file is missing, unreadable, not UTF-8 or blank, a new random UUID is made and written there; helpers that
/// start at the same moment agree on one. When it cannot be written the new token serves this run alone.
std::string loadOrCreateToken(const std::filesystem::path& container, Files& files);

}  // namespace zqm
