#include "Platform/Linux/Processes/ProcessNames.h"

#include <fcntl.h>

#include <algorithm>
#include <array>

#include "Platform/Linux/Processes/ProcessFiles.h"
#include "Support/Text.h"

namespace zqm {
namespace {

constexpr std::size_t longestKernelName = 15;
constexpr std::size_t longestFileName = 255;

/// The last path component of an argument. A process that rewrites its title joins its options to it with spaces; they
/// may hold paths of their own.
std::string_view programName(std::string_view argument) {
    const std::string_view path = argument.substr(0, argument.find(" -"));
    const std::string_view name = path.substr(path.rfind('/') + 1);  // npos + 1 is 0
    return name.substr(0, name.find_last_not_of(' ') + 1);           // titles are padded
}

bool completes(std::string_view name, std::string_view cut) {
    return name.starts_with(cut) && name.size() <= longestFileName;
}

}  // namespace

std::string completeProcessName(std::string_view cut, std::string_view arguments) {
    const std::string_view program = programName(takeUntil(arguments, '\0'));
    if (completes(program, cut)) return std::string(program);
    // A script bears its own name, while its arguments begin with the interpreter and its options.
    while (!arguments.empty()) {
        const std::string_view argument = takeUntil(arguments, '\0');
        if (argument.starts_with('-')) continue;
        const std::string_view script = argument.substr(argument.rfind('/') + 1);
        return std::string(completes(script, cut) ? script : cut);
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
    std::array<char, 4096> buffer;
    const std::string path = root_.path("/proc/") + ProcessPath(row.pid, "cmdline").text();
    return completeProcessName(row.name, readProcessFile(AT_FDCWD, path.c_str(), buffer).value_or(""));
}

}  // namespace zqm
