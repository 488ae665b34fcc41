#include "Platform/Mac/Details/ProcessFacts.h"

#include <algorithm>
#include <cstring>

#include "Platform/Posix/UserName.h"
#include "Support/Text.h"

namespace zqm {
namespace {

// CTL_KERN, then KERN_PROC and KERN_PROC_PID, or KERN_PROCARGS2
constexpr int kernel = 1, processes = 14, byNumber = 1, arguments = 49;

}  // namespace

std::string argumentsIn(std::string_view record) {
    constexpr std::size_t most = 4096;
    std::int32_t left = 0;
    if (record.size() < sizeof left) return {};
    std::memcpy(&left, record.data(), sizeof left);
    record.remove_prefix(sizeof left);
    takeUntil(record, '\0');  // the program's path
    record.remove_prefix(std::min(record.find_first_not_of('\0'), record.size()));
    std::string command;
    for (; left > 0 && !record.empty() && command.size() < most; --left) {
        command += takeUntil(record, '\0');
        command += ' ';
    }
    command.resize(std::min(command.find_last_not_of(' ') + 1, most));
    return command;
}

std::optional<ProcessFacts> readProcess(MacSysctl& sysctl, std::int32_t pid) {
    if (pid <= 0) return std::nullopt;  // the kernel, whose number stands for this process's group elsewhere
    const auto bytes = sysctl.read({kernel, processes, byNumber, pid});
    ProcessRecord record{};
    if (!bytes || bytes->size() < sizeof record) return std::nullopt;
    std::memcpy(&record, bytes->data(), sizeof record);
    if (record.pid != pid) return std::nullopt;
    const auto told = sysctl.read({kernel, arguments, pid}).value_or(Bytes());
    std::string command = argumentsIn({reinterpret_cast<const char*>(told.data()), told.size()});
    if (command.empty()) {
        const auto end = std::find(std::begin(record.name), std::end(record.name), '\0');
        command = "[" + std::string(std::begin(record.name), end) + "]";
    }
    constexpr std::uint64_t million = 1'000'000;
    return ProcessFacts{.startTime = static_cast<std::uint64_t>(record.startSeconds) * million +
                                     static_cast<std::uint64_t>(record.startMicroseconds),
                        .user = userName(record.user),
                        .command = std::move(command)};
}

}  // namespace zqm
