#include "Platform/Linux/Processes/LinuxProcessTable.h"

#include <fcntl.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <string_view>
#include <tuple>

#include "Platform/Linux/Kernel/KernelText.h"
#include "Support/Saturated.h"

namespace zqm {
namespace {

/// Where a process stands in the table, whose order decides among those that used no processor time: the lists of
/// drive traffic and power ask a few of them alone.
bool standsBefore(const LinuxProcess* a, const LinuxProcess* b) {
    const auto place = [](const LinuxProcess& process) {
        return std::tuple(process.hidesDisk, process.isKernelThread, -process.activity, process.row.pid);
    };
    return place(*a) < place(*b);
}

}  // namespace

std::optional<std::vector<ProcessRow>> LinuxProcessTable::processes() {
    if (!processes_.pass()) return std::nullopt;
    std::vector<const LinuxProcess*> order;
    order.reserve(processes_.all().size());
    for (const LinuxProcess& process : processes_.all()) order.push_back(&process);
    std::sort(order.begin(), order.end(), standsBefore);
    std::vector<ProcessRow> rows;
    rows.reserve(order.size());
    for (const LinuxProcess* process : order) rows.push_back(process->row);
    return rows;
}

std::uint64_t LinuxProcessTable::exactResidentBytes(const ProcessRow& row) {
    std::array<char, 128> buffer;
    const std::string path = root_.path("/proc/") + ProcessPath(row.pid, "statm").text();
    std::string_view text = readProcessFile(AT_FDCWD, path.c_str(), buffer).value_or("");
    skipFields(text, 1);  // size
    const auto pages = takeCount(text);
    return pages && !text.empty() ? multiplySaturated(*pages, processes_.pageSize()) : row.residentBytes;
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
