#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace zqm {

/// One process as the table shows it.
struct ProcessRow {
    std::int32_t pid = 0;
    std::uint64_t startTime = 0;      // the platform's units; with the pid it identifies the process for ever
    std::string name;                 // short name: bytes as the kernel holds them
    double cpuPercent = 0;            // percent of one processor since the previous reading of the table
    std::uint64_t residentBytes = 0;  // as good as it comes for every process
};

/// How many internet sockets a process holds open.
struct SocketOwner {
    std::int32_t pid = 0;
    std::uint64_t startTime = 0;  // of the process, where the platform's rows have one
    std::string name;
    std::uint64_t sockets = 0;
};

/// A native source of process rows, for platforms without commands that print them. Called from one thread at a time;
/// keeps the previous reading.
class ProcessTable {
public:
    virtual ~ProcessTable() = default;
    /// Every process that can be seen; nullopt when the table cannot be read. Rankings keep the order of the table
    /// among equals, so what is likelier to be busy stands first.
    virtual std::optional<std::vector<ProcessRow>> processes() = 0;
    /// Owners of internet sockets, among the processes whose descriptors may be read; nullopt when the table of sockets
    /// cannot be read.
    virtual std::optional<std::vector<SocketOwner>> socketOwners() = 0;
    /// The whole short name of a process whose kernel name was cut, or the given name.
    virtual std::string fullName(const ProcessRow& row) = 0;
    /// The resident bytes to show, where they are known better than in the row at a cost that only a few rows are
    /// worth.
    virtual std::uint64_t exactResidentBytes(const ProcessRow& row) { return row.residentBytes; }
};

}  // namespace zqm
