#pragma once

#include <cstring>
#include <list>
#include <tuple>

#include "tests/fakes/mac/MacDouble.h"

namespace zqm {

/// libSystem as its functions are called. Its records have what readers must step over, too.
struct MacKernel : MacFunctions {
    static constexpr MachPort mach_task_self_ = 0x103;
    static MachPort mach_host_self() { return static_cast<MachPort>(now->add({"port"})); }
    static KernelReturn mach_port_deallocate(MachPort task, MachPort name) {
        return now->giveBack(name, task == mach_task_self_ ? "port" : "port of this task"), 0;
    }
    static KernelReturn host_processor_info(MachPort host, int flavor, std::uint32_t* processors, std::uint32_t** words,
                                            std::uint32_t* count) {
        require(now->at(host, "port").kind == "port" && flavor == 2, "another question");
        const auto ticks = now->machine.hostStatistics.processorTicks();
        auto page = std::make_shared<std::vector<std::uint32_t>>();
        page->reserve(1);
        for (const ProcessorTicks& one : ticks.value_or(std::vector<ProcessorTicks>())) {
            for (auto counter : {one.user, one.system, one.idle, one.nice}) page->push_back(std::uint32_t(counter));
        }
        if (!ticks) return 5;
        *processors = static_cast<std::uint32_t>(ticks->size());
        *count = 4 * *processors;
        *words = page->data();
        now->live[handleOf(*words)] = {"page", {}, page};
        return 0;
    }
    static KernelReturn vm_deallocate(MachPort, std::uintptr_t address, std::uintptr_t size) {
        const auto& words = seamOf<std::vector<std::uint32_t>>(address, "page");
        return now->giveBack(address, size == 4 * words.size() ? "page" : "whole of its memory"), 0;
    }
    static KernelReturn host_statistics64(MachPort host, int flavor, void* record, std::uint32_t* count) {
        require(now->at(host, "port").kind == "port" && flavor == 4 && *count == 62, "another question");
        const auto pages = now->machine.hostStatistics.virtualMemory();
        if (!pages) return 5;
        VirtualMemoryRecord told{};
        for (const auto& [field, value] : {std::pair(&told.active, pages->active),
                                           {&told.inactive, pages->inactive},
                                           {&told.wired, pages->wired},
                                           {&told.speculative, pages->speculative},
                                           {&told.compressor, pages->compressor},
                                           {&told.purgeable, pages->purgeable},
                                           {&told.external, pages->external}}) {
            *field = static_cast<std::uint32_t>(value);
        }
        *count = 40;  // the kernel's is shorter
        std::memcpy(record, &told, 160);
        return 0;
    }
    static KernelReturn host_page_size(MachPort host, std::uintptr_t* size) {
        require(now->at(host, "port").kind == "port", "another question");
        const auto told = now->machine.hostStatistics.pageSize();
        *size = told.value_or(0);
        return told ? 0 : 5;
    }

    /// As both calls answer: first the size, then the value that stood there when its size was asked for.
    template <class Read>
    static int answer(const std::string& name, void* value, std::size_t* size, Read read) {
        Bytes& bytes = now->asked[name];
        if (!value) {
            const std::optional<Bytes> told = read();
            bytes = told.value_or(Bytes());
            *size = bytes.size();
            return told ? 0 : -1;
        }
        if (*size < bytes.size()) return -1;
        std::copy(bytes.begin(), bytes.end(), static_cast<std::uint8_t*>(value));
        *size = bytes.size();
        return 0;
    }
    static int sysctlbyname(const char* name, void* value, std::size_t* size, void*, std::size_t change) {
        require(change == 0, "a change");
        return answer(name, value, size, [name] { return now->machine.sysctl.read(name); });
    }
    static int sysctl(int* name, unsigned count, void* value, std::size_t* size, void*, std::size_t change) {
        constexpr int table[] = {4, 17, 0, 0, 6, 0};
        require(change == 0, "a change");
        const bool isTable = std::equal(name, name + count, std::begin(table), std::end(table));
        return answer("numbered", value, size, [=]() -> std::optional<Bytes> {
            const auto found = now->numbered.find({name, name + count});
            if (!isTable) return found == now->numbered.end() ? std::nullopt : std::optional(found->second);
            const auto links = now->machine.networkInterfaces.links();
            if (!links) return std::nullopt;
            Bytes bytes;
            for (const LinkInterface& link : *links) {
                InterfaceMessage message{};
                message.length = sizeof message;
                message.type = 0x12;
                message.received = link.counters ? link.counters->received : 0;
                message.sent = link.counters ? link.counters->sent : 0;
                message.link.family = 18;
                message.link.nameLength = static_cast<std::uint8_t>(link.name.size());
                std::memcpy(message.link.name, link.name.data(), std::min(link.name.size(), sizeof message.link.name));
                const auto* begin = reinterpret_cast<const std::uint8_t*>(&message);
                bytes.insert(bytes.end(), begin, begin + sizeof message);
                message.type = 0x0C;  // about an address
                bytes.insert(bytes.end(), begin, begin + sizeof message);
            }
            return bytes;
        });
    }

    struct AddressEntry {
        AddressRecord entry{};
        AddressRecord::Socket socket{};
        std::string name{};
    };
    static int getifaddrs(AddressRecord** list) {
        const auto addresses = now->machine.interfaceAddresses.ipv4();
        if (!addresses) return -1;
        auto entries = std::make_shared<std::list<AddressEntry>>(1);  // the first has no address
        for (const auto& [name, ipv4] : *addresses) {
            for (const std::uint8_t family : {18, 2}) {
                AddressRecord& previous = entries->back().entry;
                AddressEntry& added = entries->emplace_back();
                added.name = name;
                added.socket.family = family;
                for (unsigned byte = 0; byte < 4; ++byte)
                    added.socket.ipv4[byte] = std::uint8_t(ipv4 >> (24 - 8 * byte));
                added.entry.name = added.name.data();
                added.entry.address = &added.socket;
                previous.next = &added.entry;
            }
        }
        *list = &entries->front().entry;
        now->live[handleOf(*list)] = {"addresses", {}, entries};
        return 0;
    }
    static void freeifaddrs(AddressRecord* list) { now->giveBack(handleOf(list), "addresses"); }

    static KernelReturn task_name_for_pid(MachPort task, int pid, MachPort* name) {
        require(task == mach_task_self_, "another task");
        return give(name, "port", shared(now->machine.taskCounters.taskName(pid)));
    }
    static KernelReturn task_info(MachPort name, unsigned flavor, void* record, std::uint32_t* count) {
        require(flavor == 26 && *count >= 26, "another question");
        const auto power = seamOf<TaskName>(name, "port").power();
        TaskPowerRecord told{};
        told.energy = power ? power->energy : 0;
        *count = now->isIntel ? 24 : 26;
        std::memcpy(record, &told, 4 * *count);
        return power ? 0 : 5;
    }
    static int proc_pid_rusage(int pid, int flavor, void* record) {
        require(flavor == 4, "another question");
        const auto disk = now->machine.taskCounters.disk(pid);
        UsageRecord told{};
        if (disk) std::tie(told.bytesRead, told.bytesWritten) = std::tie(disk->bytesRead, disk->bytesWritten);
        std::memcpy(record, &told, sizeof told);
        return disk ? 0 : -1;
    }
    static int getloadavg(double* averages, int count) {
        std::copy_n(now->loadAverages.begin(), count, averages);
        return count;
    }
    static int getfsstat(FileSystemRecord* buffer, int size, int flags) {
        require(flags == 2, "waits for each file system");
        const auto room = buffer ? static_cast<std::size_t>(size) / sizeof *buffer : 0;
        const auto filled = std::min(room, now->fileSystems.size());
        std::copy_n(now->fileSystems.begin(), filled, buffer);
        return static_cast<int>(buffer ? filled : now->fileSystems.size());
    }
};

}  // namespace zqm
