#pragma once

#include <initializer_list>
#include <string>
#include <string_view>

#include "Platform/Described/MachineModel.h"

/// The checks of which the format of a machine file is put together: each looks at one value and throws at the first
/// thing that is wrong with it.
namespace zqm::shape {

/// Where a value stands; lives on the stack of the check that looks at it.
struct Place {
    const Place* parent = nullptr;
    std::string_view key;
    std::size_t index = 0;  // when there is no key

    std::string pointer() const;  // as a JSON pointer
};

/// Thrown by a check.
struct ShapeError {
    std::string pointer, what;
};

using Check = void (*)(const Json& value, const Place& place);

void require(bool condition, const Place& place, std::string_view what);

struct Member {
    std::string_view name;
    Check check;
    bool isRequired = false;
};

/// An object with these members and no others.
void record(const Json& value, const Place& place, std::initializer_list<Member> members);

void eachElement(const Json& value, const Place& place, Check check);
void eachMember(const Json& value, const Place& place, Check check);
void unlessNull(const Json& value, const Place& place, Check check);
void readings(const Json& value, const Place& place, Check one, Check list);
void movement(const Json& value, const Place& place, Check constant);

// The same as checks, for the tables.

template <Check check>
void arrayOf(const Json& value, const Place& place) {
    eachElement(value, place, check);
}

template <Check check>
void membersOf(const Json& value, const Place& place) {
    eachMember(value, place, check);
}

template <Check check>
void orNull(const Json& value, const Place& place) {
    unlessNull(value, place, check);
}

/// A value that may differ from reading to reading: itself, null for a failure, or a list of such.
template <Check check>
void readable(const Json& value, const Place& place) {
    readings(value, place, orNull<check>, arrayOf<orNull<check>>);
}

/// A constant, or `{"start": …, "rate": …}`.
template <Check constant>
void movable(const Json& value, const Place& place) {
    movement(value, place, constant);
}

void flag(const Json& value, const Place& place);
void text(const Json& value, const Place& place);
void count(const Json& value, const Place& place);    // 64 bits, unsigned
void integer(const Json& value, const Place& place);  // 64 bits, signed
void word(const Json& value, const Place& place);     // 64 bits, signed or not
/// A number as a property holds it: whole and signed or floating-point, moving or not, `{"float": "nan"}` among them.
void number(const Json& value, const Place& place);
void wordOfWidth(const Json& value, const Place& place);
/// The value of a "bytes" form.
void byteParts(const Json& value, const Place& place);
void property(const Json& value, const Place& place);

inline constexpr Check counter = readable<movable<count>>;

}  // namespace zqm::shape
