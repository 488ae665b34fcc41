#pragma once

#include <filesystem>
#include <optional>
#include <string_view>

namespace zqm {

/// The user's directory of one kind: what the environment variable names, unless that is unset, empty or relative, else
/// `fallback` below the home directory; nullopt without either.
std::optional<std::filesystem::path> userDirectory(const char* variable, std::string_view fallback);

/// Makes a directory and its missing parents, private to the user (mode 0700). What exists is left as it is. False when
/// there is no directory afterwards.
bool makePrivateDirectory(const std::filesystem::path& directory);

}  // namespace zqm
