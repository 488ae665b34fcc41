#include "ZQMHelper/Shared/SMCBridge.h"

#include "Platform/Apple/Controller.h"

namespace zqm {

bool SMCBridge::SMCPowerAvailable() {
    std::call_once(opened_, [this] { connection_ = openController(registry_); });
    return connection_ != nullptr;
}

double SMCBridge::SMCPowerRead(std::string_view key) {
    constexpr double unreadable = -1;
    if (!SMCPowerAvailable()) return unreadable;
    const MutexLock oneCallAtATime(calls_);
    const auto value = readController(*connection_, key);
    return value ? value->real().value_or(unreadable) : unreadable;
}

}  // namespace zqm
