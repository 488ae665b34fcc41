#include "Platform/Mac/CoreValues.h"

#include <utility>

namespace zqm {
namespace {

constexpr int mostLevels = 64;
constexpr CFIndex mostElements = 1 << 20;  // beyond that a count is taken for damage

bool isOf(const CoreFoundation& calls, CFTypeID type, CFTypeRef object) {
    return object && calls.CFGetTypeID(object) == type;
}

template <class Number>
std::optional<PropertyValue> numberAs(const CoreFoundation& calls, CFTypeRef object, CFIndex type) {
    Number number{};
    return calls.CFNumberGetValue(object, type, &number) ? std::optional<PropertyValue>(number) : std::nullopt;
}

std::optional<PropertyValue> convert(const CoreFoundation& calls, CFTypeRef object, int level);

std::optional<PropertyValue> dataOf(const CoreFoundation& calls, CFTypeRef object) {
    const std::uint8_t* bytes = calls.CFDataGetBytePtr(object);
    const CFIndex count = calls.CFDataGetLength(object);
    return bytes && count > 0 ? Bytes(bytes, bytes + count) : Bytes();
}

std::optional<PropertyValue> arrayOf(const CoreFoundation& calls, CFTypeRef object, int level) {
    const auto elements = elementsOf(calls, object);
    if (!elements) return std::nullopt;
    PropertyArray array;
    for (CFTypeRef element : *elements) {
        if (auto value = convert(calls, element, level + 1)) array.push_back(std::move(*value));
    }
    return array;
}

std::optional<PropertyValue> membersOf(const CoreFoundation& calls, CFTypeRef object, int level) {
    const CFIndex count = calls.CFDictionaryGetCount(object);
    if (count < 0 || count > mostElements) return std::nullopt;
    std::vector<CFTypeRef> keys(static_cast<std::size_t>(count)), values(keys.size());
    calls.CFDictionaryGetKeysAndValues(object, keys.data(), values.data());
    PropertyDictionary dictionary;
    for (std::size_t i = 0; i < keys.size(); ++i) {
        auto key = textOf(calls, keys[i]);
        if (!key) return std::nullopt;
        if (auto value = convert(calls, values[i], level + 1)) {
            dictionary.emplace_back(std::move(*key), std::move(*value));
        }
    }
    return dictionary;
}

std::optional<PropertyValue> convert(const CoreFoundation& calls, CFTypeRef object, int level) {
    if (!object || level > mostLevels) return std::nullopt;
    const CFTypeID type = calls.CFGetTypeID(object);
    if (type == calls.CFBooleanGetTypeID()) return calls.CFBooleanGetValue(object) != 0;
    if (type == calls.CFNumberGetTypeID()) {
        return calls.CFNumberIsFloatType(object) ? numberAs<double>(calls, object, cfFloat64)
                                                 : numberAs<std::int64_t>(calls, object, cfSInt64);
    }
    if (type == calls.CFDataGetTypeID()) return dataOf(calls, object);
    if (type == calls.CFArrayGetTypeID()) return arrayOf(calls, object, level);
    if (type == calls.CFDictionaryGetTypeID()) return membersOf(calls, object, level);
    auto text = textOf(calls, object);
    return text ? std::optional<PropertyValue>(std::move(*text)) : std::nullopt;
}

}  // namespace

CFOwned makeText(const CoreFoundation& calls, std::string_view text) {
    return own(calls, calls.CFStringCreateWithBytes(nullptr, reinterpret_cast<const std::uint8_t*>(text.data()),
                                                    static_cast<CFIndex>(text.size()), cfUtf8, false));
}

CFOwned makeNumber(const CoreFoundation& calls, std::int64_t number) {
    return own(calls, calls.CFNumberCreate(nullptr, cfSInt64, &number));
}

bool isDictionary(const CoreFoundation& calls, CFTypeRef object) {
    return isOf(calls, calls.CFDictionaryGetTypeID(), object);
}

std::optional<std::string> textOf(const CoreFoundation& calls, CFTypeRef object) {
    if (!isOf(calls, calls.CFStringGetTypeID(), object)) return std::nullopt;
    const CFRange whole{0, calls.CFStringGetLength(object)};
    const auto bytesOf = [&](std::uint8_t* buffer, CFIndex size) {
        CFIndex used = 0;
        calls.CFStringGetBytes(object, whole, cfUtf8, '?', false, buffer, size, &used);
        return used;
    };
    const CFIndex size = whole.length > 0 ? bytesOf(nullptr, 0) : 0;
    if (size <= 0) return whole.length == 0 ? std::optional(std::string()) : std::nullopt;
    std::string text(static_cast<std::size_t>(size), '\0');
    return bytesOf(reinterpret_cast<std::uint8_t*>(text.data()), size) == size ? std::optional(text) : std::nullopt;
}

std::optional<PropertyValue> propertyOf(const CoreFoundation& calls, CFTypeRef object) {
    return convert(calls, object, 1);
}

std::optional<PropertyDictionary> dictionaryOf(const CoreFoundation& calls, CFTypeRef object) {
    auto value = propertyOf(calls, object);
    auto* dictionary = value ? std::get_if<PropertyDictionary>(&*value) : nullptr;
    return dictionary ? std::optional(std::move(*dictionary)) : std::nullopt;
}

std::optional<std::vector<CFTypeRef>> elementsOf(const CoreFoundation& calls, CFTypeRef object) {
    if (!isOf(calls, calls.CFArrayGetTypeID(), object)) return std::nullopt;
    const CFIndex count = calls.CFArrayGetCount(object);
    if (count < 0 || count > mostElements) return std::nullopt;
    std::vector<CFTypeRef> elements;
    for (CFIndex i = 0; i < count; ++i) {
        if (const CFTypeRef element = calls.CFArrayGetValueAtIndex(object, i)) elements.push_back(element);
    }
    return elements;
}

CFTypeRef memberOf(const CoreFoundation& calls, CFTypeRef object, std::string_view key) {
    if (!isDictionary(calls, object)) return nullptr;
    const CFOwned name = makeText(calls, key);
    return name ? calls.CFDictionaryGetValue(object, name.get()) : nullptr;
}

}  // namespace zqm
