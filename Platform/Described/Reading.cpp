#include "Platform/Described/Reading.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <nlohmann/json.hpp>

namespace zqm {
namespace {

/// Grows and stops at the type's bounds, or wraps as a counter of `wrapBits` bits does.
template <class Integer>
Integer moved(const Json& moving, std::int64_t growth) {
    const auto start = moving["start"].get<Integer>();
    if (const auto bits = moving.find("wrapBits"); bits != moving.end()) {
        const auto mask = (std::uint64_t{1} << bits->get<unsigned>()) - 1;
        return static_cast<Integer>((static_cast<std::uint64_t>(start) + static_cast<std::uint64_t>(growth)) & mask);
    }
    Integer result{};
    if (!__builtin_add_overflow(start, growth, &result)) return result;
    return growth < 0 ? std::numeric_limits<Integer>::min() : std::numeric_limits<Integer>::max();
}

unsigned hexDigit(char digit) {
    return static_cast<unsigned>(digit <= '9' ? digit - '0' : (digit | 0x20) - 'a' + 10);
}

void appendHex(Bytes& bytes, const std::string& digits) {
    std::optional<unsigned> high;
    for (const char digit : digits) {
        if (digit == ' ') continue;
        if (high) bytes.push_back(static_cast<std::uint8_t>(*high << 4 | hexDigit(digit)));
        high = high ? std::nullopt : std::optional(hexDigit(digit));
    }
}

}  // namespace

const Json* memberOf(const Json* object, std::string_view key) {
    if (!object) return nullptr;
    const auto found = object->find(key);
    return found == object->end() ? nullptr : &*found;
}

const Json* Reading::value(const Json* node) {
    if (const Json* elements = node && node->is_object() ? memberOf(node, "list") : nullptr) {
        node = &(*elements)[std::min(model_.takePosition(*node), elements->size() - 1)];
    }
    return node && !node->is_null() ? node : nullptr;
}

double Reading::change(const Json& moving) const {
    double seconds = elapsed_.count();
    if (const Json* turn = memberOf(&moving, "turn")) {  // there and back again
        const double most = turn->get<double>();
        seconds = most - std::abs(std::fmod(seconds, 2 * most) - most);
    }
    return moving["rate"].get<double>() * seconds;
}

std::int64_t Reading::growth(const Json& moving) const {
    constexpr double bound = 9223372036854774784.0;  // the largest double below 2^63
    return static_cast<std::int64_t>(std::clamp(std::floor(change(moving)), -bound, bound));
}

std::optional<std::uint64_t> Reading::count(const Json* node) {
    const Json* number = value(node);
    if (!number) return std::nullopt;
    return number->is_object() ? moved<std::uint64_t>(*number, growth(*number)) : number->get<std::uint64_t>();
}

std::optional<std::int64_t> Reading::integer(const Json* node) {
    const Json* found = value(node);
    if (!found) return std::nullopt;
    return found->is_object() ? moved<std::int64_t>(*found, growth(*found)) : found->get<std::int64_t>();
}

std::optional<double> Reading::real(const Json* node) {
    const Json* found = value(node);
    if (!found) return std::nullopt;
    const PropertyValue read = number(*found);
    const auto* whole = std::get_if<std::int64_t>(&read);
    return whole ? static_cast<double>(*whole) : std::get<double>(read);
}

std::optional<std::string> Reading::text(const Json* node) {
    const Json* found = value(node);
    return found ? std::optional(found->get<std::string>()) : std::nullopt;
}

bool Reading::appendPart(Bytes& bytes, const Json& part) {
    if (part.is_string()) {
        appendHex(bytes, part.get_ref<const std::string&>());
        return true;
    }
    const Json* integer = value(&part["integer"]);
    if (!integer) return false;
    // Two's complement and modulo 2^64: negative numbers and counters past their width keep their low bytes.
    const auto word = integer->is_object() ? static_cast<std::uint64_t>((*integer)["start"].get<std::int64_t>()) +
                                                 static_cast<std::uint64_t>(growth(*integer))
                                           : static_cast<std::uint64_t>(integer->get<std::int64_t>());
    for (unsigned i = 0; i < part["width"].get<unsigned>(); ++i) {
        bytes.push_back(static_cast<std::uint8_t>(word >> (8 * i)));
    }
    return true;
}

std::optional<Bytes> Reading::bytes(const Json& parts) {
    Bytes bytes;
    bool isWhole = true;
    if (parts.is_array()) {
        for (const Json& part : parts) isWhole &= appendPart(bytes, part);
    } else {
        isWhole = appendPart(bytes, parts);
    }
    return isWhole ? std::optional(std::move(bytes)) : std::nullopt;
}

PropertyValue Reading::number(const Json& node) const {
    if (const Json* special = node.is_object() ? memberOf(&node, "float") : nullptr) {
        if (*special == "nan") return std::numeric_limits<double>::quiet_NaN();
        return *special == "inf" ? std::numeric_limits<double>::infinity() : -std::numeric_limits<double>::infinity();
    }
    const bool isMoving = node.is_object();
    const Json& start = isMoving ? node["start"] : node;
    if (start.is_number_integer()) {
        return isMoving ? moved<std::int64_t>(node, growth(node)) : start.get<std::int64_t>();
    }
    const double sum = start.get<double>() + (isMoving ? change(node) : 0);
    constexpr double bound = std::numeric_limits<double>::max();
    return std::clamp(sum, -bound, bound);
}

PropertyValue Reading::dictionary(const Json& members) {
    PropertyDictionary dictionary;
    for (const auto& [key, member] : members.items()) {
        if (auto read = property(&member)) dictionary.emplace_back(key, std::move(*read));
    }
    return dictionary;
}

std::optional<PropertyValue> Reading::property(const Json* node) {
    const Json* found = value(node);
    if (!found) return std::nullopt;
    if (found->is_boolean()) return found->get<bool>();
    if (found->is_string()) return found->get<std::string>();
    if (found->is_array()) {
        PropertyArray array;
        for (const Json& element : *found) {
            if (auto read = property(&element)) array.push_back(std::move(*read));
        }
        return array;
    }
    if (found->is_number() || found->contains("start") || found->contains("float")) return number(*found);
    if (found->contains("bytes")) {
        auto read = bytes((*found)["bytes"]);
        return read ? std::optional<PropertyValue>(std::move(*read)) : std::nullopt;
    }
    return dictionary(found->contains("dictionary") ? (*found)["dictionary"] : *found);
}

}  // namespace zqm
