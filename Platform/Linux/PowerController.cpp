#include "Platform/Linux/PowerController.h"

#include <cstring>
#include <string>

namespace zqm {
namespace {

// The controller's record of 80 bytes, numbers in the machine's byte order.
constexpr std::uint32_t callSelector = 2;
constexpr std::size_t recordSize = 80;
constexpr std::size_t keyOffset = 0;        // four characters as a number, the first in the highest byte
constexpr std::size_t dataSizeOffset = 28;  // a number of 32 bits, as are these two
constexpr std::size_t dataTypeOffset = 32;
constexpr std::size_t resultOffset = 40;  // 0: success
constexpr std::size_t commandOffset = 42;
constexpr std::size_t valueOffset = 48;
constexpr std::uint8_t readKeyCommand = 5;
constexpr std::uint8_t readKeyInfoCommand = 9;
constexpr std::uint8_t keyNotFound = 0x84;
constexpr std::uint32_t floatType = 0x666C7420;  // "flt "

class Client final : public UserClient {
public:
    explicit Client(PowerController& controller) : controller_(controller) {}

    bool callStruct(std::uint32_t selector, std::span<const std::uint8_t> input,
                    std::span<std::uint8_t> output) override {
        if (selector != callSelector || input.size() != recordSize || output.size() != recordSize) return false;
        std::memcpy(output.data(), input.data(), recordSize);
        output[resultOffset] = answer(input, output) ? 0 : keyNotFound;
        return true;
    }

private:
    bool answer(std::span<const std::uint8_t> input, std::span<std::uint8_t> output) {
        std::uint32_t code = 0;
        std::memcpy(&code, input.data() + keyOffset, sizeof code);
        std::string key;
        for (int shift = 24; shift >= 0; shift -= 8) key += static_cast<char>(code >> shift & 0xFF);
        if (input[commandOffset] == readKeyInfoCommand) {
            const std::uint32_t size = sizeof(float);
            std::memcpy(output.data() + dataSizeOffset, &size, sizeof size);
            std::memcpy(output.data() + dataTypeOffset, &floatType, sizeof floatType);
            return key == "PSTR";
        }
        const auto value = input[commandOffset] == readKeyCommand ? controller_.read(key) : std::nullopt;
        if (value) std::memcpy(output.data() + valueOffset, &*value, sizeof *value);
        return value.has_value();
    }

    PowerController& controller_;
};

}  // namespace

bool PowerController::exists() {
    return energy_.hasSystemCounter() || batteries_.read().battery.has_value();
}

std::unique_ptr<UserClient> PowerController::open() {
    return std::make_unique<Client>(*this);
}

std::optional<float> PowerController::read(std::string_view key) {
    if (key != "PSTR") return std::nullopt;
    if (const auto watts = energy_.systemPower()) return static_cast<float>(*watts);
    const auto battery = batteries_.read().battery;
    if (!battery || !battery->watts || battery->status != BatteryStatus::discharging) return std::nullopt;
    return static_cast<float>(-*battery->watts);
}

}  // namespace zqm
