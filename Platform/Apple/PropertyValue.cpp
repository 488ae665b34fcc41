#include "Platform/Apple/PropertyValue.h"

#include <cmath>

#include "Support/Saturated.h"

namespace zqm {
namespace {

template <class Type>
const Type* as(const PropertyValue* value) {
    return value ? std::get_if<Type>(value) : nullptr;
}

}  // namespace

const PropertyValue* find(const PropertyDictionary& dictionary, std::string_view key) {
    for (const auto& [name, value] : dictionary) {
        if (name == key) return &value;
    }
    return nullptr;
}

const PropertyDictionary* asDictionary(const PropertyValue* value) {
    return as<PropertyDictionary>(value);
}
const std::string* asText(const PropertyValue* value) {
    return as<std::string>(value);
}
const Bytes* asBytes(const PropertyValue* value) {
    return as<Bytes>(value);
}

std::optional<double> asNumber(const PropertyValue* value) {
    if (const auto* integer = as<std::int64_t>(value)) return static_cast<double>(*integer);
    const auto* number = as<double>(value);
    return number && std::isfinite(*number) ? std::optional(*number) : std::nullopt;
}

std::optional<std::int64_t> asInteger(const PropertyValue* value) {
    if (const auto* integer = as<std::int64_t>(value)) return *integer;
    const auto number = asNumber(value);
    return number ? std::optional(integerSaturated(*number)) : std::nullopt;
}

std::optional<std::uint64_t> asCount(const PropertyValue* value) {
    const auto integer = asInteger(value);
    if (!integer) return std::nullopt;
    return *integer > 0 ? static_cast<std::uint64_t>(*integer) : 0;
}

std::optional<bool> asFlag(const PropertyValue* value) {
    const auto* flag = as<bool>(value);
    return flag ? std::optional(*flag) : std::nullopt;
}

}  // namespace zqm
