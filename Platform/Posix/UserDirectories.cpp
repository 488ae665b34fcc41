#include "Platform/Posix/UserDirectories.h"

#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cstdlib>

namespace zqm {
namespace {

std::optional<std::filesystem::path> absolute(const char* text) {
    if (text == nullptr || *text != '/') return std::nullopt;
    return std::filesystem::path(text);
}

std::optional<std::filesystem::path> homeDirectory() {
    if (auto home = absolute(std::getenv("HOME"))) return home;
    std::array<char, 4096> buffer;
    passwd entry{};
    passwd* found = nullptr;
    if (::getpwuid_r(::getuid(), &entry, buffer.data(), buffer.size(), &found) != 0 || !found) return std::nullopt;
    return absolute(entry.pw_dir);
}

}  // namespace

std::optional<std::filesystem::path> userDirectory(const char* variable, std::string_view fallback) {
    if (auto named = absolute(std::getenv(variable))) return named;
    auto home = homeDirectory();
    if (home) *home /= fallback;
    return home;
}

bool makePrivateDirectory(const std::filesystem::path& directory) {
    std::filesystem::path made;
    for (const auto& part : directory) {
        made /= part;
        ::mkdir(made.c_str(), 0700);  // most exist already; the last one decides
    }
    std::error_code error;
    return std::filesystem::is_directory(directory, error);
}

}  // namespace zqm
