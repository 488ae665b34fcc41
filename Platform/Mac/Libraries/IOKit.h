#pragma once

#include <cstddef>

#include "Platform/Mac/Libraries/CoreFoundation.h"

namespace zqm {

using MachPort = unsigned int;  // 0: none
using KernelReturn = int;       // 0: success
using IOObject = MachPort;      // what an io_object_t is; given back by IOObjectRelease
using IOName = char[128];

inline constexpr const char* ioKitPath = "/System/Library/Frameworks/IOKit.framework/IOKit";

// clang-format off
/// IOServiceGetMatchingServices takes `matching` over.
#define ZQM_REGISTRY(SYMBOL)                                                                                           \
    SYMBOL(IOServiceMatching, CFTypeRef(const char* className))                                                        \
    SYMBOL(IOServiceGetMatchingServices, KernelReturn(MachPort main, CFTypeRef matching, IOObject* iterator))          \
    SYMBOL(IOIteratorNext, IOObject(IOObject iterator))                                                                \
    SYMBOL(IOObjectRelease, KernelReturn(IOObject object))                                                             \
    SYMBOL(IORegistryEntryGetName, KernelReturn(IOObject entry, char* name))                                           \
    SYMBOL(IORegistryEntryGetChildIterator, KernelReturn(IOObject entry, const char* plane, IOObject* iterator))       \
    SYMBOL(IORegistryEntryCreateCFProperty, CFTypeRef(IOObject entry, CFTypeRef key, CFTypeRef allocator,              \
                                                      std::uint32_t options))

#define ZQM_USER_CLIENT(SYMBOL)                                                                                        \
    SYMBOL(IOServiceOpen, KernelReturn(IOObject service, MachPort task, std::uint32_t type, IOObject* connection))     \
    SYMBOL(IOServiceClose, KernelReturn(IOObject connection))                                                          \
    SYMBOL(IOConnectCallStructMethod, KernelReturn(IOObject connection, std::uint32_t selector, const void* input,     \
                                                   std::size_t inputSize, void* output, std::size_t* outputSize))

#define ZQM_POWER_SOURCES(SYMBOL)                                                                                      \
    SYMBOL(IOPSCopyPowerSourcesInfo, CFTypeRef())                                                                      \
    SYMBOL(IOPSCopyPowerSourcesList, CFTypeRef(CFTypeRef info))                                                        \
    SYMBOL(IOPSGetPowerSourceDescription, CFTypeRef(CFTypeRef info, CFTypeRef source))

#define ZQM_ADAPTER(SYMBOL)                                                                                            \
    SYMBOL(IOPSCopyExternalPowerAdapterDetails, CFTypeRef())

/// Not published by the system's maker.
#define ZQM_SENSORS(SYMBOL)                                                                                            \
    SYMBOL(IOHIDEventSystemClientCreate, CFTypeRef(CFTypeRef allocator))                                               \
    SYMBOL(IOHIDEventSystemClientSetMatching, int(CFTypeRef client, CFTypeRef matching))                               \
    SYMBOL(IOHIDEventSystemClientCopyServices, CFTypeRef(CFTypeRef client))                                            \
    SYMBOL(IOHIDServiceClientCopyProperty, CFTypeRef(CFTypeRef service, CFTypeRef key))                                \
    SYMBOL(IOHIDServiceClientCopyEvent, CFTypeRef(CFTypeRef service, std::int64_t type, std::int32_t options,          \
                                                  std::int64_t timestamp))                                             \
    SYMBOL(IOHIDEventGetFloatValue, double(CFTypeRef event, std::int32_t field))
// clang-format on
ZQM_CALL_TABLE(RegistryCalls, ioKitPath, ZQM_REGISTRY);
ZQM_CALL_TABLE(UserClientCalls, ioKitPath, ZQM_USER_CLIENT);
ZQM_CALL_TABLE(PowerSourceCalls, ioKitPath, ZQM_POWER_SOURCES);
ZQM_CALL_TABLE(AdapterCalls, ioKitPath, ZQM_ADAPTER);
ZQM_CALL_TABLE(SensorCalls, ioKitPath, ZQM_SENSORS);

}  // namespace zqm
