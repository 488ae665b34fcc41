#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace zqm {

/// The user's directory of one kind: what the environment variable names, unless that is unset, empty or relative, else
/// `fallback` below the home directory; nullopt without either.
std::optional<std::string> userDirectory(const char* variable, std::string_view fallback);

/// The path of what is named `name` in a directory.
std::string pathBelow(const std::string& directory, std::string_view name);

/// Makes a directory and its missing parents, private to the user (mode 0700). What exists is left as it is. Returns
/// its path and why there is no directory afterwards, or nullopt when there is one.
std::optional<std::string> makePrivateDirectory(const std::string& directory);

}  // namespace zqm
