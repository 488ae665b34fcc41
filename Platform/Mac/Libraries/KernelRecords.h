#pragma once

#include <cstddef>
#include <cstdint>
#include <type_traits>

namespace zqm {

// Records of the system's kernel as far as they are read, on any system; compared with its own headers where those are.

/// HOST_VM_INFO64: pages.
struct VirtualMemoryRecord {
    std::uint32_t free, active, inactive, wired;
    std::uint64_t events[9];
    std::uint32_t purgeable, speculative;
    std::uint64_t compressions[4];
    std::uint32_t compressor, throttled, external, internal;
    std::uint64_t rest[13];  // for what later kernels add
};
static_assert(sizeof(VirtualMemoryRecord) == 248);

/// RTM_IFINFO2 with its link-level address behind it.
#pragma pack(push, 4)
struct InterfaceMessage {
    std::uint16_t length;  // of the whole message: where the next one begins
    std::uint8_t version, type;
    std::int32_t addresses, flags;
    std::uint16_t index;
    std::int32_t queue[4];
    std::uint8_t properties[8];
    std::uint32_t mtu, metric;
    std::uint64_t rate, packets[5], received, sent, rest[4];  // bytes where no other unit is told
    std::uint32_t timing[2];
    std::int32_t changed[2];
    struct {
        std::uint8_t length, family;
        std::uint16_t index;
        std::uint8_t type, nameLength, rest[2];
        char name[12];  // or more; not terminated
    } link;
};
#pragma pack(pop)
static_assert(offsetof(InterfaceMessage, link) == 160);

/// An entry of the list of getifaddrs.
struct AddressRecord {
    AddressRecord* next;
    char* name;
    unsigned flags;
    struct Socket {
        std::uint8_t length, family;
        std::uint16_t port;
        std::uint8_t ipv4[4];  // in network byte order
    } * address;
    void *mask, *destination, *data;
};

/// TASK_POWER_INFO_V2 of Arm processors; on Intel's it ends earlier and has no energy.
struct TaskPowerRecord {
    std::uint64_t user, system, interruptWakeups, otherWakeups[3];
    std::uint64_t gpuTime, reserved[3];
    std::uint64_t energy;  // nanojoules
    std::uint64_t rest[2];
};
static_assert(sizeof(TaskPowerRecord) == 104 && offsetof(TaskPowerRecord, energy) == 80);

/// RUSAGE_INFO_V4.
struct UsageRecord {
    std::uint8_t identity[16];
    std::uint64_t times[16];
    std::uint64_t bytesRead, bytesWritten;
    std::uint64_t rest[17];
};

/// KERN_PROC_PID.
struct ProcessRecord {
    std::int64_t startSeconds;
    std::int32_t startMicroseconds;
    std::uint8_t state[28];
    std::int32_t pid;
    std::uint8_t times[199];
    char name[17];
    std::uint8_t credentials[160];
    std::uint32_t user;  // whose rights it has
    std::uint8_t rest[224];
};
static_assert(sizeof(ProcessRecord) == 648 && offsetof(ProcessRecord, user) == 420);

/// A mounted file system, of systems whose inodes have 64 bits. Texts that fill their field are not terminated.
struct FileSystemRecord {
    std::uint32_t blockSize, transferSize;
    std::uint64_t blocks, free, available, files, freeFiles;
    std::uint32_t identity[2], owner, type, flags, subtype;
    char typeName[16], mountPoint[1024], source[1024];
    std::uint32_t rest[8];
};
static_assert(sizeof(FileSystemRecord) == 2168);

}  // namespace zqm
