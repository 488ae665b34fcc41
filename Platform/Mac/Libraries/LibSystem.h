#pragma once

#include "Platform/Mac/Libraries/IOKit.h"
#include "Platform/Mac/Libraries/KernelRecords.h"

namespace zqm {

inline constexpr const char* libSystemPath = "/usr/lib/libSystem.B.dylib";

// clang-format off
/// Each reference that mach_host_self and task_name_for_pid give is given back by mach_port_deallocate, memory by
/// vm_deallocate. Sizes are in bytes, counts in words of 4 bytes.
#define ZQM_MACH(SYMBOL)                                                                                               \
    SYMBOL(mach_task_self_, const MachPort)                                                                            \
    SYMBOL(mach_port_deallocate, KernelReturn(MachPort task, MachPort name))

#define ZQM_HOST(SYMBOL)                                                                                               \
    SYMBOL(mach_host_self, MachPort())                                                                                 \
    SYMBOL(host_processor_info, KernelReturn(MachPort host, int flavor, std::uint32_t* processors,                     \
                                             std::uint32_t** words, std::uint32_t* count))                             \
    SYMBOL(vm_deallocate, KernelReturn(MachPort task, std::uintptr_t address, std::uintptr_t size))                    \
    SYMBOL(host_statistics64, KernelReturn(MachPort host, int flavor, void* record, std::uint32_t* count))             \
    SYMBOL(host_page_size, KernelReturn(MachPort host, std::uintptr_t* size))

#define ZQM_SYSCTL(SYMBOL)                                                                                             \
    SYMBOL(sysctlbyname, int(const char* name, void* value, std::size_t* size, void* replacement, std::size_t))        \
    SYMBOL(sysctl, int(int* name, unsigned count, void* value, std::size_t* size, void* replacement, std::size_t))

#define ZQM_ADDRESSES(SYMBOL)                                                                                          \
    SYMBOL(getifaddrs, int(AddressRecord** list))                                                                      \
    SYMBOL(freeifaddrs, void(AddressRecord* list))

#define ZQM_TASKS(SYMBOL)                                                                                              \
    SYMBOL(task_name_for_pid, KernelReturn(MachPort task, int pid, MachPort* name))                                    \
    SYMBOL(task_info, KernelReturn(MachPort name, unsigned flavor, void* record, std::uint32_t* count))                \
    SYMBOL(proc_pid_rusage, int(int pid, int flavor, void* record))

/// Both return how many of the list there are; without a buffer getfsstat tells how many there would be.
#define ZQM_DETAILS(SYMBOL)                                                                                            \
    SYMBOL(getloadavg, int(double* averages, int count))                                                               \
    SYMBOL(getfsstat, int(FileSystemRecord* buffer, int size, int flags))
// clang-format on
ZQM_CALL_TABLE(MachCalls, libSystemPath, ZQM_MACH);
ZQM_CALL_TABLE(HostCalls, libSystemPath, ZQM_HOST);
ZQM_CALL_TABLE(SysctlCalls, libSystemPath, ZQM_SYSCTL);
ZQM_CALL_TABLE(AddressCalls, libSystemPath, ZQM_ADDRESSES);
ZQM_CALL_TABLE(TaskCalls, libSystemPath, ZQM_TASKS);
ZQM_CALL_TABLE(DetailCalls, libSystemPath, ZQM_DETAILS);

}  // namespace zqm
