#include "Platform/Linux/Processes/ProcessNames.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>

#include "Platform/Linux/Processes/ProcessFiles.h"
#include "Support/Text.h"

namespace zqm {
namespace {

constexpr std::size_t longestKernelName = 15;
constexpr std::size_t longestFileName = 255;

std::string_view lastComponent(std::string_view path) {
    return path.substr(path.rfind('/') + 1);  // npos + 1 is 0
}

/// The last path component of an argument. A process that rewrites its title joins its options to it with spaces; they
/// may hold paths of their own.
std::string_view programName(std::string_view argument) {
    const std::string_view name = lastComponent(argument.substr(0, argument.find(" -")));
    return name.substr(0, name.find_last_not_of(' ') + 1);  // titles are padded
}

/// The script of an interpreter's arguments: the first that is no option.
std::string_view scriptName(std::string_view arguments) {
    while (!arguments.empty()) {
        const std::string_view argument = takeUntil(arguments, '\0');
        if (!argument.starts_with('-')) return lastComponent(argument);
    }
    return {};
}

/// The name of a file that may have been replaced since.
std::string_view executableName(std::string_view path) {
    constexpr std::string_view removed = " (deleted)";
    if (path.ends_with(removed)) path.remove_suffix(removed.size());
    return lastComponent(path);
}

}  // namespace

std::string completeProcessName(std::string_view cut, std::string_view arguments, std::string_view executable) {
    const std::string_view first = takeUntil(arguments, '\0');
    for (const std::string_view name :
         {programName(first), lastComponent(first), scriptName(arguments), executableName(executable)}) {
        if (name.starts_with(cut) && name.size() <= longestFileName) return std::string(name);
    }
    return std::string(cut);
}

std::string ProcessNames::fullName(const ProcessRow& row) {
    if (row.name.size() != longestKernelName) return row.name;  // whole; those of kernel threads may be longer
    const auto found = std::find_if(known_.begin(), known_.end(), [&](const Known& known) {
        return known.pid == row.pid && known.startTime == row.startTime && known.cut == row.name;
    });
    if (found != known_.end()) return found->full;
    Known& replaced = known_[oldest_];
    oldest_ = (oldest_ + 1) % known_.size();
    replaced = {.pid = row.pid, .startTime = row.startTime, .cut = row.name, .full = complete(row)};
    return replaced.full;
}

std::string ProcessNames::complete(const ProcessRow& row) const {
    std::array<char, 4096> arguments, executable;
    const std::string directory = root_.path("/proc/");
    const std::string commandLine = directory + ProcessPath(row.pid, "cmdline").text();
    const std::string link = directory + ProcessPath(row.pid, "exe").text();
    const ssize_t size = ::readlink(link.c_str(), executable.data(), executable.size());
    return completeProcessName(row.name, readProcessFile(AT_FDCWD, commandLine.c_str(), arguments).value_or(""),
                               {executable.data(), static_cast<std::size_t>(std::max<ssize_t>(size, 0))});
}

}  // namespace zqm
