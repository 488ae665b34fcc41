#include "Platform/Linux/Processes/LinuxProcessTable.h"

#include <algorithm>
#include <array>
#include <cerrno>

namespace zqm {

std::optional<std::vector<ProcessRow>> LinuxProcessTable::processes() {
    if (!processes_.pass()) return std::nullopt;
    std::vector<ProcessRow> rows;
    rows.reserve(processes_.all().size());
    for (const LinuxProcess& process : processes_.all()) rows.push_back(process.row);
    return rows;
}

std::optional<std::vector<SocketOwner>> LinuxProcessTable::socketOwners() {
    if (processes_.all().empty()) processes_.pass();
    return sockets_.update(processes_.all());
}

SourceDescription LinuxProcessTable::describe(MetricFamily family) {
    if (!processes_.pass()) return root_.describe("/proc");
    const std::size_t seen = processes_.all().size();
    if (family == MetricFamily::processes) return {"/proc/PID/stat", "", std::to_string(seen) + " seen"};
    const bool isDisk = family == MetricFamily::processDisk;
    const std::string file = isDisk ? "io" : "fd";
    const DirectoryStream directory(::opendir(root_.path("/proc").c_str()));
    const auto hides =
        std::count_if(processes_.all().begin(), processes_.all().end(), [&](const LinuxProcess& process) {
            const ProcessPath path(process.row.pid, file);
            std::array<char, 16> buffer;
            const bool isRead =
                directory && (isDisk ? readProcessFile(::dirfd(directory.get()), path.text(), buffer).has_value()
                                     : openDirectory(::dirfd(directory.get()), path.text()) != nullptr);
            return !isRead && isRefusal(errno);
        });
    std::string remark = std::to_string(hides) + " of " + std::to_string(seen) + " hide theirs from this user";
    return {"/proc/PID/" + file, "", hides > 0 ? std::move(remark) : std::string()};
}

}  // namespace zqm
