#pragma once

#include "Platform/Mac/Libraries/CoreFoundation.h"

namespace zqm {

// clang-format off
#define ZQM_PROXIES(SYMBOL) SYMBOL(CFNetworkCopySystemProxySettings, CFTypeRef())

/// Both give what is borrowed.
#define ZQM_BUNDLE(SYMBOL)                                                                                             \
    SYMBOL(CFBundleGetMainBundle, CFTypeRef())                                                                         \
    SYMBOL(CFBundleGetValueForInfoDictionaryKey, CFTypeRef(CFTypeRef bundle, CFTypeRef key))
// clang-format on
ZQM_CALL_TABLE(ProxyCalls, "/System/Library/Frameworks/CFNetwork.framework/CFNetwork", ZQM_PROXIES);
ZQM_CALL_TABLE(BundleCalls, CoreFoundation::path, ZQM_BUNDLE);

}  // namespace zqm
