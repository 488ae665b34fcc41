#include "Platform/Apple/Controller.h"

#include <algorithm>
#include <bit>
#include <cstring>

#include "Platform/Apple/SMCRecord.h"

namespace zqm {
namespace {

constexpr std::uint32_t callSelector = 2;

/// One exchange with the controller; false when it fails or the controller refuses.
bool exchange(UserClient& connection, SMCCommand command, SMCRecord& request, SMCRecord& reply) {
    request.command = static_cast<std::uint8_t>(command);
    const auto input = std::bit_cast<std::array<std::uint8_t, sizeof(SMCRecord)>>(request);
    std::array<std::uint8_t, sizeof(SMCRecord)> output{};
    if (!connection.callStruct(callSelector, input, output)) return false;
    reply = std::bit_cast<SMCRecord>(output);
    return reply.result == 0;
}

}  // namespace

std::optional<double> ControllerValue::real() const {
    if ((type | 0x20) != fourCharacterCode("flt ")) return std::nullopt;
    float value;
    std::memcpy(&value, bytes.data(), sizeof value);
    return value;
}

std::optional<double> ControllerValue::number() const {
    if (type == fourCharacterCode("ui8 ")) return bytes[0];
    if (type == fourCharacterCode("fpe2")) return (bytes[0] * 256 + bytes[1]) / 4.0;
    return real();
}

std::unique_ptr<UserClient> openController(Registry& registry) {
    for (const char* name : {"AppleSMCKeysEndpoint", "AppleSMC"}) {
        const auto services = registry.services(name);
        if (services && !services->empty()) return services->front()->open(0);
    }
    return nullptr;
}

std::optional<ControllerValue> readController(UserClient& connection, std::string_view key) {
    if (key.size() != 4) return std::nullopt;
    SMCRecord request;
    SMCRecord reply;
    request.key = fourCharacterCode(key.data());
    if (!exchange(connection, SMCCommand::readKeyInfo, request, reply)) return std::nullopt;
    request.keyInfo = reply.keyInfo;
    if (!exchange(connection, SMCCommand::readKey, request, reply)) return std::nullopt;
    ControllerValue value{.type = request.keyInfo.dataType};
    std::copy(std::begin(reply.value), std::end(reply.value), value.bytes.begin());
    return value;
}

}  // namespace zqm
