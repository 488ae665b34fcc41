#include "Platform/Posix/UserDirectories.h"

#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <filesystem>

#include "Platform/Posix/Problem.h"

namespace zqm {
namespace {

std::optional<std::string> absolute(const char* text) {
    return text && *text == '/' ? std::optional<std::string>(text) : std::nullopt;
}

std::optional<std::string> homeDirectory() {
    if (auto home = absolute(std::getenv("HOME"))) return home;
    std::array<char, 4096> buffer;
    passwd entry{};
    passwd* found = nullptr;
    if (::getpwuid_r(::getuid(), &entry, buffer.data(), buffer.size(), &found) != 0 || !found) return std::nullopt;
    return absolute(entry.pw_dir);
}

}  // namespace

std::optional<std::string> userDirectory(const char* variable, std::string_view fallback) {
    if (auto named = absolute(std::getenv(variable))) return named;
    const auto home = homeDirectory();
    return home ? std::optional(pathBelow(*home, fallback)) : std::nullopt;
}

std::string pathBelow(const std::string& directory, std::string_view name) {
    return (std::filesystem::path(directory) / name).string();
}

std::optional<std::string> makePrivateDirectory(const std::string& directory) {
    std::filesystem::path made;
    for (const auto& part : std::filesystem::path(directory)) {
        made /= part;
        ::mkdir(made.c_str(), 0700);  // most exist already; the last one decides
    }
    struct stat status {};
    if (::stat(directory.c_str(), &status) != 0) return problemWith(directory, errno);
    return S_ISDIR(status.st_mode) ? std::nullopt : std::optional(problemWith(directory, ENOTDIR));
}

}  // namespace zqm
