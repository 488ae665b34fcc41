#include "Platform/Linux/Kernel/RootDirectory.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <system_error>

#include "Platform/Linux/Kernel/KernelText.h"
#include "Platform/Posix/Descriptor.h"
#include "Support/Text.h"

namespace zqm {

RootDirectory::RootDirectory(std::string_view directory) : directory_(directory) {
    while (directory_.ends_with('/')) directory_.pop_back();
}

bool RootDirectory::exists(std::string_view below) const {
    // A link of sysfs counts as what it stands for, even where the recording left out what it leads to.
    return ::faccessat(AT_FDCWD, path(below).c_str(), F_OK, AT_SYMLINK_NOFOLLOW) == 0;
}

std::optional<std::string> RootDirectory::text(std::string_view below) const {
    KernelFile file(path(below));
    const auto content = file.read();
    if (!content) return std::nullopt;
    return std::string(trimBlanks(*content));
}

std::optional<std::uint64_t> RootDirectory::number(std::string_view below) const {
    const auto content = text(below);
    return content ? parseUnsigned(*content) : std::nullopt;
}

std::vector<std::string> RootDirectory::names(std::string_view below, std::string_view prefix) const {
    std::vector<std::string> names;
    std::error_code error;
    std::filesystem::directory_iterator entry(path(below), error);
    for (; !error && entry != std::filesystem::directory_iterator(); entry.increment(error)) {
        std::string name = entry->path().filename().string();
        if (name.starts_with(prefix)) names.push_back(std::move(name));
    }
    std::sort(names.begin(), names.end());
    return names;
}

SourceDescription RootDirectory::describe(std::string_view below) const {
    char byte;
    const Descriptor file(::open(path(below).c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
    if (file && ::read(file.get(), &byte, 1) >= 0) return {std::string(below), ""};
    return {std::string(below), std::generic_category().message(errno)};
}

SourceDescription RootDirectory::describe(const KernelFile& file) const {
    return describe(place(file));
}

}  // namespace zqm
