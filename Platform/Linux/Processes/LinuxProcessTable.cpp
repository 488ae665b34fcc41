#include "Platform/Linux/Processes/LinuxProcessTable.h"

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

}  // namespace zqm
