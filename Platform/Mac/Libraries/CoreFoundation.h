#pragma once

#include <cstdint>

#include "Platform/Mac/Libraries/CallTable.h"

namespace zqm {

// The system's own declarations are in no header that other systems have, so what is used is declared here.

using CFTypeRef = const void*;  // an object of any class; a name with Create or Copy in it gives a reference away
using CFIndex = long;
using CFTypeID = unsigned long;
using CFFlag = unsigned char;
struct CFRange {
    CFIndex location, length;
};

inline constexpr CFIndex cfSInt64 = 4;               // kCFNumberSInt64Type
inline constexpr CFIndex cfFloat64 = 6;              // kCFNumberFloat64Type
inline constexpr std::uint32_t cfUtf8 = 0x08000100;  // kCFStringEncodingUTF8

// clang-format off
#define ZQM_CORE_FOUNDATION(SYMBOL)                                                                                    \
    SYMBOL(CFRelease, void(CFTypeRef object))                                                                          \
    SYMBOL(CFGetTypeID, CFTypeID(CFTypeRef object))                                                                    \
    SYMBOL(CFBooleanGetTypeID, CFTypeID())                                                                             \
    SYMBOL(CFBooleanGetValue, CFFlag(CFTypeRef flag))                                                                  \
    SYMBOL(CFNumberGetTypeID, CFTypeID())                                                                              \
    SYMBOL(CFNumberCreate, CFTypeRef(CFTypeRef allocator, CFIndex type, const void* value))                            \
    SYMBOL(CFNumberIsFloatType, CFFlag(CFTypeRef number))                                                              \
    SYMBOL(CFNumberGetValue, CFFlag(CFTypeRef number, CFIndex type, void* value))                                      \
    SYMBOL(CFStringGetTypeID, CFTypeID())                                                                              \
    SYMBOL(CFStringCreateWithBytes, CFTypeRef(CFTypeRef allocator, const std::uint8_t* bytes, CFIndex count,           \
                                              std::uint32_t encoding, CFFlag isExternal))                              \
    SYMBOL(CFStringGetLength, CFIndex(CFTypeRef text))                                                                 \
    SYMBOL(CFStringGetBytes, CFIndex(CFTypeRef text, CFRange range, std::uint32_t encoding, std::uint8_t lossByte,     \
                                     CFFlag isExternal, std::uint8_t* buffer, CFIndex size, CFIndex* used))            \
    SYMBOL(CFDataGetTypeID, CFTypeID())                                                                                \
    SYMBOL(CFDataGetBytePtr, const std::uint8_t*(CFTypeRef data))                                                      \
    SYMBOL(CFDataGetLength, CFIndex(CFTypeRef data))                                                                   \
    SYMBOL(CFArrayGetTypeID, CFTypeID())                                                                               \
    SYMBOL(CFArrayGetCount, CFIndex(CFTypeRef array))                                                                  \
    SYMBOL(CFArrayGetValueAtIndex, CFTypeRef(CFTypeRef array, CFIndex index))                                          \
    SYMBOL(CFDictionaryGetTypeID, CFTypeID())                                                                          \
    SYMBOL(CFDictionaryGetCount, CFIndex(CFTypeRef dictionary))                                                        \
    SYMBOL(CFDictionaryGetValue, CFTypeRef(CFTypeRef dictionary, CFTypeRef key))                                       \
    SYMBOL(CFDictionaryGetKeysAndValues, void(CFTypeRef dictionary, CFTypeRef* keys, CFTypeRef* values))               \
    SYMBOL(CFDictionaryCreate, CFTypeRef(CFTypeRef allocator, const CFTypeRef* keys, const CFTypeRef* values,          \
                                         CFIndex count, const void* keyCallBacks, const void* valueCallBacks))         \
    SYMBOL(CFDictionaryCreateMutableCopy, CFTypeRef(CFTypeRef allocator, CFIndex capacity, CFTypeRef dictionary))      \
    SYMBOL(kCFTypeDictionaryKeyCallBacks, const char)                                                                  \
    SYMBOL(kCFTypeDictionaryValueCallBacks, const char)
// clang-format on
ZQM_CALL_TABLE(CoreFoundation, "/System/Library/Frameworks/CoreFoundation.framework/CoreFoundation",
               ZQM_CORE_FOUNDATION);

}  // namespace zqm
