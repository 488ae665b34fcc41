#include "Platform/Described/DescribedRegistry.h"

#include <algorithm>
#include <array>
#include <bit>
#include <nlohmann/json.hpp>

#include "Platform/Apple/SMCRecord.h"
#include "Platform/Described/Reading.h"

namespace zqm {
namespace {

constexpr std::uint32_t callSelector = 2;
constexpr std::uint8_t keyNotFound = 0x84;

/// A connection to the system management controller, which knows the described keys.
class DescribedUserClient final : public UserClient {
public:
    DescribedUserClient(MachineModel& model, const Json& keys) : model_(model), keys_(keys), handle_(model) {}

    bool callStruct(std::uint32_t selector, std::span<const std::uint8_t> input,
                    std::span<std::uint8_t> output) override {
        std::array<std::uint8_t, sizeof(SMCRecord)> bytes;
        if (selector != callSelector || input.size() != bytes.size() || output.size() != bytes.size()) return false;
        std::copy(input.begin(), input.end(), bytes.begin());
        SMCRecord record = std::bit_cast<SMCRecord>(bytes);
        if (!answer(record)) return false;
        bytes = std::bit_cast<std::array<std::uint8_t, sizeof(SMCRecord)>>(record);
        std::copy(bytes.begin(), bytes.end(), output.begin());
        return true;
    }

private:
    /// Turns a request into its reply; false: the call fails.
    bool answer(SMCRecord& record) const {
        std::string name;
        for (int shift = 24; shift >= 0; shift -= 8) name += static_cast<char>(record.key >> shift);
        const Json* node = memberOf(&keys_, name);
        record.result = node ? 0 : keyNotFound;
        if (!node) return true;
        if (node->is_null()) return false;
        if (record.command == static_cast<std::uint8_t>(SMCCommand::readKeyInfo)) return answerInfo(record, *node);
        return record.command == static_cast<std::uint8_t>(SMCCommand::readKey) && answerValue(record, *node);
    }
    bool answerInfo(SMCRecord& record, const Json& key) const {
        const Json& value = key["value"];
        record.keyInfo.dataType = fourCharacterCode(key["type"].get_ref<const std::string&>().data());
        record.keyInfo.dataSize = 4;
        if (value.is_object() && value.contains("bytes")) {
            const auto bytes = Reading(model_).bytes(value["bytes"]);
            record.keyInfo.dataSize = bytes ? static_cast<std::uint32_t>(bytes->size()) : 0;
        }
        return true;
    }
    bool answerValue(SMCRecord& record, const Json& key) const {
        Reading reading(model_);
        const Json* value = reading.value(&key["value"]);
        const auto result = key.contains("result") ? reading.count(&key["result"]) : 0;
        if (!value || !result) return false;
        record.result = static_cast<std::uint8_t>(*result);
        const auto bytes = value->is_object() && value->contains("bytes") ? reading.bytes((*value)["bytes"])
                                                                          : singlePrecision(reading, *value);
        if (!bytes) return false;
        std::copy_n(bytes->begin(), std::min(bytes->size(), sizeof record.value), record.value);
        return true;
    }
    static std::optional<Bytes> singlePrecision(Reading& reading, const Json& number) {
        const auto bytes = std::bit_cast<std::array<std::uint8_t, sizeof(float)>>(
            static_cast<float>(reading.real(&number).value_or(0)));
        return Bytes(bytes.begin(), bytes.end());
    }

    MachineModel& model_;
    const Json& keys_;
    CountedHandle handle_;
};

class DescribedEntry final : public RegistryEntry {
public:
    DescribedEntry(MachineModel& model, const Json& entry) : model_(model), entry_(entry), handle_(model) {}

    std::optional<std::string> name() const override { return Reading(model_).text(&entry_["name"]); }
    std::optional<std::vector<std::unique_ptr<RegistryEntry>>> children() const override;
    std::optional<PropertyValue> property(std::string_view key) const override {
        return Reading(model_).property(memberOf(&entry_, "properties", key));
    }
    std::unique_ptr<UserClient> open(std::uint32_t type) const override {
        const Json* keys = type == 0 ? Reading(model_).value(memberOf(&entry_, "userClient")) : nullptr;
        return keys ? std::make_unique<DescribedUserClient>(model_, *keys) : nullptr;
    }

private:
    MachineModel& model_;
    const Json& entry_;
    CountedHandle handle_;
};

/// Handles of the entries in the array that this reading finds at `node`; none when there is no such node.
std::optional<std::vector<std::unique_ptr<RegistryEntry>>> entriesAt(MachineModel& model, const Json* node) {
    std::vector<std::unique_ptr<RegistryEntry>> entries;
    if (!node) return entries;
    const Json* array = Reading(model).value(node);
    if (!array) return std::nullopt;
    for (const Json& entry : *array) entries.push_back(std::make_unique<DescribedEntry>(model, entry));
    return entries;
}

std::optional<std::vector<std::unique_ptr<RegistryEntry>>> DescribedEntry::children() const {
    return entriesAt(model_, memberOf(&entry_, "children"));
}

}  // namespace

std::optional<std::vector<std::unique_ptr<RegistryEntry>>> DescribedRegistry::services(std::string_view className) {
    return entriesAt(model_, memberOf(&model_.description, "registry", className));
}

}  // namespace zqm
