#pragma once

#include "Platform/Mac/Libraries/CoreFoundation.h"

namespace zqm {

// clang-format off
/// The counter library, not published by the system's maker. Names and units are borrowed from their channel, a
/// subscription is never given back, and what its creation writes into `subscribed` is not used.
#define ZQM_IO_REPORT(SYMBOL)                                                                                          \
    SYMBOL(IOReportCopyChannelsInGroup, CFTypeRef(CFTypeRef group, CFTypeRef subgroup, std::uint64_t, std::uint64_t,   \
                                                  std::uint64_t))                                                      \
    SYMBOL(IOReportMergeChannels, void(CFTypeRef destination, CFTypeRef source, CFTypeRef))                            \
    SYMBOL(IOReportCreateSubscription, void*(void*, CFTypeRef channels, CFTypeRef* subscribed, std::uint64_t,          \
                                             CFTypeRef))                                                               \
    SYMBOL(IOReportCreateSamples, CFTypeRef(void* subscription, CFTypeRef channels, CFTypeRef))                        \
    SYMBOL(IOReportCreateSamplesDelta, CFTypeRef(CFTypeRef earlier, CFTypeRef later, CFTypeRef))                       \
    SYMBOL(IOReportChannelGetChannelName, CFTypeRef(CFTypeRef channel))                                                \
    SYMBOL(IOReportChannelGetUnitLabel, CFTypeRef(CFTypeRef channel))                                                  \
    SYMBOL(IOReportStateGetCount, std::int32_t(CFTypeRef channel))                                                     \
    SYMBOL(IOReportStateGetNameForIndex, CFTypeRef(CFTypeRef channel, std::int32_t index))                             \
    SYMBOL(IOReportSimpleGetIntegerValue, std::int64_t(CFTypeRef channel, std::int32_t))                               \
    SYMBOL(IOReportStateGetResidency, std::int64_t(CFTypeRef channel, std::int32_t index))
// clang-format on
ZQM_CALL_TABLE(IOReportCalls, "/usr/lib/libIOReport.dylib", ZQM_IO_REPORT);
/// Where systems keep it that have it not at its first place.
inline constexpr const char* ioReportFramework = "/System/Library/PrivateFrameworks/IOReport.framework/IOReport";

}  // namespace zqm
