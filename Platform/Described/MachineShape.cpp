#include "Platform/Described/MachineShape.h"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <nlohmann/json.hpp>

namespace zqm::shape {
namespace {

bool fitsSigned(const Json& value) {
    return !value.is_number_unsigned() ||
           value.get<std::uint64_t>() <= static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());
}

void specialFloat(const Json& value, const Place& place) {
    require(value == "nan" || value == "inf" || value == "-inf", place, "must be \"nan\", \"inf\" or \"-inf\"");
}

void constantNumber(const Json& value, const Place& place) {
    require(value.is_number() && fitsSigned(value), place,
            "must be a number, whole ones of at most 63 bits and a sign");
}

void rate(const Json& value, const Place& place) {
    require(value.is_number(), place, "must be a number");
}
void wrapBits(const Json& value, const Place& place) {
    require(value.is_number_unsigned() && value >= 1 && value <= 63, place, "must be a whole number from 1 to 63");
}

void turn(const Json& value, const Place& place) {
    require(value.is_number() && value > 0 && value <= 1e9, place, "must be a number of seconds above 0");
}

void width(const Json& value, const Place& place) {
    require(value == 1 || value == 2 || value == 4 || value == 8, place, "must be 1, 2, 4 or 8 bytes");
}

void bytePart(const Json& value, const Place& place) {
    if (!value.is_string()) return wordOfWidth(value, place);
    std::size_t digits = 0;
    for (const char character : value.get_ref<const std::string&>()) {
        if (character == ' ') continue;
        require(std::string_view("0123456789abcdefABCDEF").find(character) != std::string_view::npos, place,
                "must be pairs of hexadecimal digits");
        ++digits;
    }
    require(digits % 2 == 0, place, "must be pairs of hexadecimal digits");
}

}  // namespace

std::string Place::pointer() const {
    if (!parent) return "";
    std::string token;
    for (const char character : key) {
        token += character == '~' ? "~0" : character == '/' ? "~1" : std::string(1, character);
    }
    return parent->pointer() + "/" + (key.data() ? token : std::to_string(index));
}

void require(bool condition, const Place& place, std::string_view what) {
    if (!condition) throw ShapeError{place.pointer(), std::string(what)};
}

void record(const Json& value, const Place& place, std::initializer_list<Member> members) {
    require(value.is_object(), place, "must be an object");
    for (const auto& [key, child] : value.items()) {
        const std::string_view name = key;
        const Place childPlace{&place, name};
        const auto member =
            std::find_if(members.begin(), members.end(), [&](const Member& known) { return known.name == name; });
        require(member != members.end(), childPlace, "unknown key");
        member->check(child, childPlace);
    }
    std::string missing;
    for (const auto& member : members) {
        if (!member.isRequired || value.contains(member.name)) continue;
        missing.append(missing.empty() ? "has no \"" : ", \"").append(member.name).append("\"");
    }
    require(missing.empty(), place, missing);
}

void eachElement(const Json& value, const Place& place, Check check) {
    require(value.is_array(), place, "must be an array");
    for (std::size_t i = 0; i < value.size(); ++i) check(value[i], Place{&place, {}, i});
}

void eachMember(const Json& value, const Place& place, Check check) {
    require(value.is_object(), place, "must be an object");
    for (const auto& [name, child] : value.items()) check(child, Place{&place, name});
}

void unlessNull(const Json& value, const Place& place, Check check) {
    if (!value.is_null()) check(value, place);
}

void readings(const Json& value, const Place& place, Check one, Check list) {
    if (!value.is_object() || !value.contains("list")) return one(value, place);
    record(value, place, {{"list", list}});
    require(!value["list"].empty(), Place{&place, "list"}, "must not be empty");
}

void movement(const Json& value, const Place& place, Check constant) {
    if (!value.is_object()) return constant(value, place);
    record(value, place, {{"start", constant, true}, {"rate", rate, true}, {"wrapBits", wrapBits}, {"turn", turn}});
    require(!value.contains("wrapBits") || value["start"].is_number_integer(), place,
            "\"wrapBits\" needs a whole \"start\"");
}

void flag(const Json& value, const Place& place) {
    require(value.is_boolean(), place, "must be true or false");
}
void text(const Json& value, const Place& place) {
    require(value.is_string(), place, "must be a text");
}
void count(const Json& value, const Place& place) {
    require(value.is_number_unsigned(), place, "must be a whole number from 0 to 18446744073709551615");
}
void word(const Json& value, const Place& place) {
    require(value.is_number_integer(), place, "must be a whole number of at most 64 bits");
}
void integer(const Json& value, const Place& place) {
    require(value.is_number_integer() && fitsSigned(value), place,
            "must be a whole number of at most 63 bits and a sign");
}
void number(const Json& value, const Place& place) {
    if (value.is_object() && value.contains("float")) return record(value, place, {{"float", specialFloat}});
    movable<constantNumber>(value, place);
}

void wordOfWidth(const Json& value, const Place& place) {
    record(value, place, {{"integer", readable<movable<word>>, true}, {"width", width, true}});
    const Json& integer = value["integer"];
    const int bits = value["width"].get<int>() * 8;
    if (!integer.is_number() || bits == 64) return;
    const bool fits = integer.is_number_unsigned() ? integer.get<std::uint64_t>() >> bits == 0
                                                   : integer.get<std::int64_t>() >= -(std::int64_t{1} << (bits - 1));
    require(fits, Place{&place, "integer"}, "does not fit into \"width\" bytes");
}

void byteParts(const Json& value, const Place& place) {
    value.is_array() ? arrayOf<bytePart>(value, place) : bytePart(value, place);
}

void property(const Json& value, const Place& place) {
    if (value.is_string() || value.is_boolean()) return;
    if (value.is_array()) return arrayOf<readable<property>>(value, place);
    if (!value.is_object() || value.contains("start") || value.contains("float")) return number(value, place);
    if (value.contains("bytes")) return record(value, place, {{"bytes", byteParts}});
    if (value.contains("dictionary")) return record(value, place, {{"dictionary", membersOf<readable<property>>}});
    membersOf<readable<property>>(value, place);
}

}  // namespace zqm::shape
