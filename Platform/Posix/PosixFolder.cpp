#include "Platform/Posix/PosixFolder.h"

#include <filesystem>

#include "Platform/Posix/UserDirectories.h"

namespace zqm {

std::string PosixFolder::path(std::string_view name) const {
    return pathBelow(path_, name);
}

std::optional<std::string> PosixFolder::replace(std::string_view name, std::string_view content) {
    if (auto problem = makePrivateDirectory(path_)) return problem;
    return files_.replace(path(name), content);
}

std::optional<std::string> PosixFolder::setAside(std::string_view name) {
    std::error_code error;
    std::filesystem::rename(path(name), path(name) + ".damaged", error);
    return error ? std::optional(error.message()) : std::nullopt;
}

}  // namespace zqm
