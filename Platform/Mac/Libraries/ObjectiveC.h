#pragma once

#include "Platform/Mac/Libraries/CallTable.h"

namespace zqm {

inline constexpr const char* foundationPath = "/System/Library/Frameworks/Foundation.framework/Foundation";

// clang-format off
/// objc_msgSend is called as the method that it is to find: the receiver, the selector, the method's own arguments.
#define ZQM_OBJECTIVE_C(SYMBOL)                                                                                        \
    SYMBOL(objc_getClass, void*(const char* name))                                                                     \
    SYMBOL(sel_registerName, void*(const char* name))                                                                  \
    SYMBOL(objc_msgSend, void())                                                                                       \
    SYMBOL(objc_autoreleasePoolPush, void*())                                                                          \
    SYMBOL(objc_autoreleasePoolPop, void(void* pool))
// clang-format on
ZQM_CALL_TABLE(ObjectiveC, "/usr/lib/libobjc.A.dylib", ZQM_OBJECTIVE_C);

}  // namespace zqm
