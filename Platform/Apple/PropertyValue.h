#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

namespace zqm {

using Bytes = std::vector<std::uint8_t>;
struct PropertyValue;
using PropertyArray = std::vector<PropertyValue>;
using PropertyDictionary = std::vector<std::pair<std::string, PropertyValue>>;  // in the source's order

/// A typed value of the registry, a power source or the system's settings. Types do not convert into each other except
/// as the functions below say: a reader that wants a number treats a text as absent.
struct PropertyValue : std::variant<bool, std::int64_t, double, std::string, Bytes, PropertyArray, PropertyDictionary> {
    using variant::variant;
};

/// The value under `key`; null when there is none.
const PropertyValue* find(const PropertyDictionary& dictionary, std::string_view key);

/// The value as the wanted type; nothing when it has another type or `value` is null.
const PropertyDictionary* asDictionary(const PropertyValue* value);
const std::string* asText(const PropertyValue* value);
const Bytes* asBytes(const PropertyValue* value);
/// Integers and floating-point numbers; not finite counts as absent.
std::optional<double> asNumber(const PropertyValue* value);
/// A number as an integer, fractions cut off, saturated at the type's bounds.
std::optional<std::int64_t> asInteger(const PropertyValue* value);
/// A number as a count: negative ones count as 0.
std::optional<std::uint64_t> asCount(const PropertyValue* value);
std::optional<bool> asFlag(const PropertyValue* value);

}  // namespace zqm
