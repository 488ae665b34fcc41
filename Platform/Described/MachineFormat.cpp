#include "Platform/Described/MachineFormat.h"

#include <algorithm>
#include <cstdint>
#include <initializer_list>
#include <limits>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>

#include "Platform/Described/MachineModel.h"

namespace zqm {
namespace {

/// Where a value stands; lives on the stack of the check that looks at it.
struct Place {
    const Place* parent = nullptr;
    std::string_view key;
    std::size_t index = 0;  // when there is no key

    std::string pointer() const {
        if (!parent) return "";
        std::string token;
        for (const char character : key) {
            token += character == '~' ? "~0" : character == '/' ? "~1" : std::string(1, character);
        }
        return parent->pointer() + "/" + (key.data() ? token : std::to_string(index));
    }
};

/// Thrown by a check, caught by `findFormatFault`.
struct ShapeError {
    std::string pointer, what;
};

using Check = void (*)(const Json& value, const Place& place);

void require(bool condition, const Place& place, std::string_view what) {
    if (!condition) throw ShapeError{place.pointer(), std::string(what)};
}

struct Member {
    std::string_view name;
    Check check;
    bool isRequired = false;
};

/// An object with these members and no others.
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
    for (const auto& member : members) {
        if (!member.isRequired || value.contains(member.name)) continue;
        throw ShapeError{place.pointer(), std::string("has no \"").append(member.name).append("\"")};
    }
}

template <Check check>
void arrayOf(const Json& value, const Place& place) {
    require(value.is_array(), place, "must be an array");
    for (std::size_t i = 0; i < value.size(); ++i) check(value[i], Place{&place, {}, i});
}

template <Check check>
void membersOf(const Json& value, const Place& place) {
    require(value.is_object(), place, "must be an object");
    for (const auto& [name, child] : value.items()) check(child, Place{&place, name});
}

template <Check check>
void orNull(const Json& value, const Place& place) {
    if (!value.is_null()) check(value, place);
}

/// A value that may differ from reading to reading: itself, null for a failure, or a list of such.
template <Check check>
void readable(const Json& value, const Place& place) {
    if (!value.is_object() || !value.contains("list")) return orNull<check>(value, place);
    record(value, place, {{"list", arrayOf<orNull<check>>}});
    require(!value["list"].empty(), Place{&place, "list"}, "must not be empty");
}

void text(const Json& value, const Place& place) {
    require(value.is_string(), place, "must be a text");
}

bool fitsSigned(const Json& value) {
    return !value.is_number_unsigned() ||
           value.get<std::uint64_t>() <= static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());
}

void rate(const Json& value, const Place& place) {
    require(value.is_number(), place, "must be a number");
}
void wrapBits(const Json& value, const Place& place) {
    require(value.is_number_unsigned() && value >= 1 && value <= 63, place, "must be a whole number from 1 to 63");
}
void count(const Json& value, const Place& place) {
    require(value.is_number_unsigned(), place, "must be a whole number from 0 to 18446744073709551615");
}
void word(const Json& value, const Place& place) {
    require(value.is_number_integer(), place, "must be a whole number of at most 64 bits");
}
void number(const Json& value, const Place& place) {
    require(value.is_number() && fitsSigned(value), place,
            "must be a number, whole ones of at most 63 bits and a sign");
}

/// A constant, or `{"start": …, "rate": …}`.
template <Check constant>
void movable(const Json& value, const Place& place) {
    if (!value.is_object()) return constant(value, place);
    record(value, place, {{"start", constant, true}, {"rate", rate, true}, {"wrapBits", wrapBits}});
    require(!value.contains("wrapBits") || value["start"].is_number_integer(), place,
            "\"wrapBits\" needs a whole \"start\"");
}

void width(const Json& value, const Place& place) {
    require(value == 1 || value == 2 || value == 4 || value == 8, place, "must be 1, 2, 4 or 8 bytes");
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

void byteParts(const Json& value, const Place& place) {
    value.is_array() ? arrayOf<bytePart>(value, place) : bytePart(value, place);
}

void property(const Json& value, const Place& place) {
    if (value.is_string() || value.is_boolean()) return;
    if (value.is_array()) return arrayOf<readable<property>>(value, place);
    if (!value.is_object() || value.contains("start")) return movable<number>(value, place);
    if (value.contains("bytes")) return record(value, place, {{"bytes", byteParts}});
    if (value.contains("dictionary")) return record(value, place, {{"dictionary", membersOf<readable<property>>}});
    membersOf<readable<property>>(value, place);
}

void sysctlValue(const Json& value, const Place& place) {
    if (value.is_string()) return;
    require(value.is_object(), place, "must be a text, {\"integer\": …, \"width\": …} or {\"bytes\": …}");
    value.contains("bytes") ? record(value, place, {{"bytes", byteParts}}) : wordOfWidth(value, place);
}

void entryName(const Json& value, const Place& place) {
    text(value, place);
    require(value.get_ref<const std::string&>().size() <= 127, place, "must be at most 127 bytes");
}

void entry(const Json& value, const Place& place) {
    record(value, place,
           {{"name", readable<entryName>, true},
            {"children", readable<arrayOf<entry>>},
            {"properties", membersOf<readable<property>>}});
}

constexpr Check counter = readable<movable<count>>;

void processor(const Json& value, const Place& place) {
    record(value, place,
           {{"user", counter, true}, {"system", counter, true}, {"idle", counter, true}, {"nice", counter, true}});
}

void virtualMemory(const Json& value, const Place& place) {
    record(value, place,
           {{"active", counter, true},
            {"inactive", counter, true},
            {"speculative", counter, true},
            {"wired", counter, true},
            {"compressor", counter, true},
            {"purgeable", counter, true},
            {"external", counter, true}});
}

void hostStatistics(const Json& value, const Place& place) {
    record(value, place,
           {{"pageSize", counter},
            {"processors", readable<arrayOf<processor>>},
            {"virtualMemory", readable<virtualMemory>}});
}

void link(const Json& value, const Place& place) {
    record(value, place, {{"name", text, true}, {"received", counter}, {"sent", counter}});
    require(value.contains("received") == value.contains("sent"), place,
            "needs both \"received\" and \"sent\", or neither");
}

void about(const Json& value, const Place& place) {
    value.is_array() ? arrayOf<text>(value, place) : text(value, place);
}

}  // namespace

std::optional<MachineFault> findFormatFault(const nlohmann::ordered_json& description) {
    try {
        record(description, Place{},
               {{"about", about},
                {"hostStatistics", hostStatistics},
                {"sysctl", membersOf<readable<sysctlValue>>},
                {"networkInterfaces", readable<arrayOf<link>>},
                {"registry", membersOf<readable<arrayOf<entry>>>}});
    } catch (const ShapeError& error) {
        return MachineFault{(error.pointer.empty() ? "the whole file" : error.pointer) + ": " + error.what};
    }
    return std::nullopt;
}

}  // namespace zqm
