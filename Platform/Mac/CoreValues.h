#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Platform/Apple/PropertyValue.h"
#include "Platform/Mac/Libraries/CoreFoundation.h"

namespace zqm {

struct CFReleaser {
    const CoreFoundation* calls;
    void operator()(CFTypeRef object) const { calls->CFRelease(object); }
};
/// A reference that was given to us; destruction gives it back. What is merely borrowed is a plain CFTypeRef.
using CFOwned = std::unique_ptr<const void, CFReleaser>;

inline CFOwned own(const CoreFoundation& calls, CFTypeRef object) {
    return CFOwned(object, CFReleaser{&calls});
}

// Objects and plain values. All need a whole table; callable from any thread; a null object is of no type.

/// Null when the text is not UTF-8.
CFOwned makeText(const CoreFoundation& calls, std::string_view text);
CFOwned makeNumber(const CoreFoundation& calls, std::int64_t number);

bool isDictionary(const CoreFoundation& calls, CFTypeRef object);
/// A text as UTF-8, halves of characters as question marks; nullopt for objects of other types.
std::optional<std::string> textOf(const CoreFoundation& calls, CFTypeRef object);
/// A copy of a flag, number, text, data, array or dictionary with texts as keys; elements of other types are left out.
/// nullopt for everything else, for numbers that do not fit, and for what is deeper than 64 levels.
std::optional<PropertyValue> propertyOf(const CoreFoundation& calls, CFTypeRef object);
std::optional<PropertyDictionary> dictionaryOf(const CoreFoundation& calls, CFTypeRef object);
/// The elements, borrowed from the array; nullopt for objects of other types.
std::optional<std::vector<CFTypeRef>> elementsOf(const CoreFoundation& calls, CFTypeRef object);
/// The value under `key`, borrowed from the dictionary; null when there is none or `object` is no dictionary.
CFTypeRef memberOf(const CoreFoundation& calls, CFTypeRef object, std::string_view key);

}  // namespace zqm
