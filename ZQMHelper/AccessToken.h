#pragma once

#include <string>
#include <string_view>

#include "Platform/Platform.h"

namespace zqm {

/// The group whose programs share the container in which the token lies.
constexpr std::string_view appGroup = "Q4T7LWX2PN.xyz.tallvek.Zephlon";
/// The path of the token's file in the container.
std::string tokenFile(std::string_view container);

/// The installation's token: the text of its file in `container` without the white space around it.
///
/// When the file is missing, unreadable, not UTF-8 or blank, a new random UUID is made and written there; helpers that
/// start at the same moment agree on one. When it cannot be written, which standard error is told with the reason, the
/// new token serves this run alone.
std::string loadOrCreateToken(const std::string& container, Files& files);

}  // namespace zqm
