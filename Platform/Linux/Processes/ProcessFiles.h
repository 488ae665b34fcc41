#pragma once

#include <dirent.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string_view>

namespace zqm {

struct DirectoryCloser {
    void operator()(DIR* directory) const { ::closedir(directory); }
};

/// An open directory whose names are being listed.
using DirectoryStream = std::unique_ptr<DIR, DirectoryCloser>;

/// "PID/file": the path from /proc to one of a process's files. `file` has at most 16 bytes.
class ProcessPath {
public:
    ProcessPath(std::int32_t pid, std::string_view file);
    const char* text() const { return text_.data(); }

private:
    std::array<char, 32> text_{};
};

/// A text as the number of a process: digits that begin with none of 0; nullopt for anything else.
std::optional<std::int32_t> parseProcessNumber(std::string_view text);

/// The beginning of a file, as much as fits into `buffer`; nullopt with `errno` set when it cannot be read. `path` is
/// relative to the open `directory`. Opens, reads and closes: a file of /proc/PID kept open would keep showing a
/// process that is gone, and cost descriptors and kernel memory.
std::optional<std::string_view> readProcessFile(int directory, const char* path, std::span<char> buffer);

/// An open directory below another one; null with `errno` set when it cannot be opened.
DirectoryStream openDirectory(int directory, const char* path);

/// Whether `error` says that this user may not look.
bool isRefusal(int error);

/// Whether the processes below `directory`, an open /proc, have the numbers that this process's kernel calls take: not
/// so when the /proc of another namespace of processes is mounted there.
bool showsOwnNumbers(int directory);

/// Nanoseconds of processor time that a process used in its life, of all its threads; 0 when the kernel does not tell.
/// Any user may ask, and it costs a twentieth of reading a file.
std::uint64_t processorTime(std::int32_t pid);

}  // namespace zqm
