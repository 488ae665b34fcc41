#pragma once

#include "Platform/Mac/Libraries/CoreFoundation.h"

namespace zqm {

// clang-format off
/// A null value removes the key.
#define ZQM_PREFERENCES(SYMBOL)                                                                                        \
    SYMBOL(CFPreferencesCopyAppValue, CFTypeRef(CFTypeRef key, CFTypeRef domain))                                      \
    SYMBOL(CFPreferencesSetAppValue, void(CFTypeRef key, CFTypeRef value, CFTypeRef domain))                           \
    SYMBOL(CFPreferencesAppSynchronize, CFFlag(CFTypeRef domain))                                                      \
    SYMBOL(CFArrayCreate, CFTypeRef(CFTypeRef allocator, const CFTypeRef* values, CFIndex count,                       \
                                    const void* callBacks))                                                            \
    SYMBOL(kCFTypeArrayCallBacks, const char)
// clang-format on
ZQM_CALL_TABLE(PreferenceCalls, CoreFoundation::path, ZQM_PREFERENCES);

}  // namespace zqm
