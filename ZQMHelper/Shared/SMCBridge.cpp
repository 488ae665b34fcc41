#include "ZQMHelper/Shared/SMCBridge.h"

#include <array>
#include <bit>
#include <cstring>

#include "Platform/Apple/SMCRecord.h"

namespace zqm {
namespace {

constexpr std::uint32_t callSelector = 2;

/// One exchange with the controller; false when it fails or the controller refuses.
bool exchange(UserClient& connection, const SMCRecord& request, SMCRecord& reply) {
    const auto input = std::bit_cast<std::array<std::uint8_t, sizeof(SMCRecord)>>(request);
    std::array<std::uint8_t, sizeof(SMCRecord)> output{};
    if (!connection.callStruct(callSelector, input, output)) return false;
    reply = std::bit_cast<SMCRecord>(output);
    return reply.result == 0;
}

/// "flt " and its spelling with a NUL byte at the end.
bool isFloat(std::uint32_t type) {
    return (type | 0x20) == fourCharacterCode("flt ");
}

}  // namespace

bool SMCBridge::SMCPowerAvailable() {
    std::call_once(opened_, [this] { open(); });
    return connection_ != nullptr;
}

void SMCBridge::open() {
    for (const char* name : {"AppleSMCKeysEndpoint", "AppleSMC"}) {
        const auto services = registry_.services(name);
        if (!services || services->empty()) continue;
        connection_ = services->front()->open(0);
        return;
    }
}

double SMCBridge::SMCPowerRead(std::string_view key) {
    constexpr double unreadable = -1;
    if (key.size() != 4 || !SMCPowerAvailable()) return unreadable;
    const MutexLock oneCallAtATime(calls_);
    SMCRecord reply;
    SMCRecord request;
    request.key = fourCharacterCode(key.data());
    request.command = static_cast<std::uint8_t>(SMCCommand::readKeyInfo);
    if (!exchange(*connection_, request, reply) || !isFloat(reply.keyInfo.dataType)) return unreadable;
    request.keyInfo = reply.keyInfo;
    request.command = static_cast<std::uint8_t>(SMCCommand::readKey);
    if (!exchange(*connection_, request, reply)) return unreadable;
    float value;
    std::memcpy(&value, reply.value, sizeof value);
    return value;
}

}  // namespace zqm
