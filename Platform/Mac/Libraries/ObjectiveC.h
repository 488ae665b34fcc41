#pragma once

#include "Platform/Mac/Libraries/CallTable.h"

namespace zqm {

inline constexpr const char* foundationPath = "/System/Library/Frameworks/Foundation.framework/Foundation";

// clang-format off
/// Calls methods that take one object or, of their own accord, less.
#define ZQM_OBJECTIVE_C(SYMBOL)                                                                                        \
    SYMBOL(objc_getClass, void*(const char* name))                                                                     \
    SYMBOL(sel_registerName, void*(const char* name))                                                                  \
    SYMBOL(objc_msgSend, void*(void* receiver, void* selector, const void* argument))                                  \
    SYMBOL(objc_autoreleasePoolPush, void*())                                                                          \
    SYMBOL(objc_autoreleasePoolPop, void(void* pool))
// clang-format on
ZQM_CALL_TABLE(ObjectiveC, "/usr/lib/libobjc.A.dylib", ZQM_OBJECTIVE_C);

}  // namespace zqm
