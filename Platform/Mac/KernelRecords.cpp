#include "Platform/Mac/Libraries/LibSystem.h"

#ifdef __APPLE__

#include <ifaddrs.h>
#include <libproc.h>
#include <mach/mach.h>
#include <net/if.h>
#include <net/if_dl.h>
#include <netinet/in.h>
#include <stdlib.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/sysctl.h>

// A record of ours whose fields lie elsewhere than the system's does not compile, nor does a call of another shape.

namespace zqm {
namespace {

template <class Ours, class Theirs>
constexpr bool isField(std::size_t ours, std::size_t theirs) {
    return ours == theirs && sizeof(Ours) == sizeof(Theirs);
}
#define ZQM_FIELD(Ours, field, Theirs, member) \
    static_assert(                             \
        isField<decltype(Ours::field), decltype(Theirs::member)>(offsetof(Ours, field), offsetof(Theirs, member)))

ZQM_FIELD(VirtualMemoryRecord, active, vm_statistics64, active_count);
ZQM_FIELD(VirtualMemoryRecord, inactive, vm_statistics64, inactive_count);
ZQM_FIELD(VirtualMemoryRecord, wired, vm_statistics64, wire_count);
ZQM_FIELD(VirtualMemoryRecord, purgeable, vm_statistics64, purgeable_count);
ZQM_FIELD(VirtualMemoryRecord, speculative, vm_statistics64, speculative_count);
ZQM_FIELD(VirtualMemoryRecord, compressor, vm_statistics64, compressor_page_count);
ZQM_FIELD(VirtualMemoryRecord, external, vm_statistics64, external_page_count);
static_assert(sizeof(VirtualMemoryRecord) >= sizeof(vm_statistics64));

ZQM_FIELD(InterfaceMessage, length, if_msghdr2, ifm_msglen);
ZQM_FIELD(InterfaceMessage, type, if_msghdr2, ifm_type);
ZQM_FIELD(InterfaceMessage, received, if_msghdr2, ifm_data.ifi_ibytes);
ZQM_FIELD(InterfaceMessage, sent, if_msghdr2, ifm_data.ifi_obytes);
static_assert(offsetof(InterfaceMessage, link) == sizeof(if_msghdr2));
using Link = decltype(InterfaceMessage::link);
ZQM_FIELD(Link, family, sockaddr_dl, sdl_family);
ZQM_FIELD(Link, nameLength, sockaddr_dl, sdl_nlen);
ZQM_FIELD(Link, name, sockaddr_dl, sdl_data);

ZQM_FIELD(AddressRecord, next, ifaddrs, ifa_next);
ZQM_FIELD(AddressRecord, name, ifaddrs, ifa_name);
ZQM_FIELD(AddressRecord, address, ifaddrs, ifa_addr);
static_assert(sizeof(AddressRecord) == sizeof(ifaddrs));
ZQM_FIELD(AddressRecord::Socket, family, sockaddr_in, sin_family);
ZQM_FIELD(AddressRecord::Socket, ipv4, sockaddr_in, sin_addr);

ZQM_FIELD(TaskPowerRecord, user, task_power_info_v2, cpu_energy.total_user);
ZQM_FIELD(TaskPowerRecord, system, task_power_info_v2, cpu_energy.total_system);
ZQM_FIELD(TaskPowerRecord, interruptWakeups, task_power_info_v2, cpu_energy.task_interrupt_wakeups);
ZQM_FIELD(TaskPowerRecord, gpuTime, task_power_info_v2, gpu_energy.task_gpu_utilisation);
#ifdef __arm64__
ZQM_FIELD(TaskPowerRecord, energy, task_power_info_v2, task_energy);
static_assert(sizeof(TaskPowerRecord) == sizeof(task_power_info_v2));
#else
static_assert(sizeof(TaskPowerRecord) > sizeof(task_power_info_v2));
#endif

ZQM_FIELD(UsageRecord, bytesRead, rusage_info_v4, ri_diskio_bytesread);
ZQM_FIELD(UsageRecord, bytesWritten, rusage_info_v4, ri_diskio_byteswritten);
static_assert(sizeof(UsageRecord) == sizeof(rusage_info_v4));

ZQM_FIELD(ProcessRecord, startSeconds, kinfo_proc, kp_proc.p_un.__p_starttime.tv_sec);
ZQM_FIELD(ProcessRecord, startMicroseconds, kinfo_proc, kp_proc.p_un.__p_starttime.tv_usec);
ZQM_FIELD(ProcessRecord, pid, kinfo_proc, kp_proc.p_pid);
ZQM_FIELD(ProcessRecord, name, kinfo_proc, kp_proc.p_comm);
ZQM_FIELD(ProcessRecord, user, kinfo_proc, kp_eproc.e_ucred.cr_uid);
static_assert(sizeof(ProcessRecord) == sizeof(kinfo_proc));

using FileSystemOfSystem = struct statfs;
ZQM_FIELD(FileSystemRecord, blockSize, FileSystemOfSystem, f_bsize);
ZQM_FIELD(FileSystemRecord, blocks, FileSystemOfSystem, f_blocks);
ZQM_FIELD(FileSystemRecord, available, FileSystemOfSystem, f_bavail);
ZQM_FIELD(FileSystemRecord, flags, FileSystemOfSystem, f_flags);
ZQM_FIELD(FileSystemRecord, typeName, FileSystemOfSystem, f_fstypename);
ZQM_FIELD(FileSystemRecord, mountPoint, FileSystemOfSystem, f_mntonname);
ZQM_FIELD(FileSystemRecord, source, FileSystemOfSystem, f_mntfromname);
static_assert(sizeof(FileSystemRecord) == sizeof(FileSystemOfSystem));

template <class Ours, class Theirs>
constexpr bool isShapedLike = sizeof(Ours) == sizeof(Theirs) && std::is_pointer_v<Ours> == std::is_pointer_v<Theirs>;
template <>
inline constexpr bool isShapedLike<void, void> = true;
template <class Result, class... Ours, class TheirResult, class... Theirs>
constexpr bool isShapedLike<Result(Ours...), TheirResult(Theirs...)> = isShapedLike<Result, TheirResult> &&
                                                                       (isShapedLike<Ours, Theirs> && ...);

#define ZQM_COMPARE(name, ...) static_assert(isShapedLike<__VA_ARGS__, decltype(::name)>);
ZQM_MACH(ZQM_COMPARE)
ZQM_HOST(ZQM_COMPARE)
ZQM_SYSCTL(ZQM_COMPARE)
ZQM_ADDRESSES(ZQM_COMPARE)
ZQM_TASKS(ZQM_COMPARE)
ZQM_DETAILS(ZQM_COMPARE)

}  // namespace
}  // namespace zqm

#endif
