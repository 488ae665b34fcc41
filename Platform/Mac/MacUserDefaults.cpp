#include "Platform/Mac/MacUserDefaults.h"

#include <nlohmann/json.hpp>
#include <utility>

namespace zqm {
namespace {

using Json = nlohmann::ordered_json;

// Named by both programs, of which only one has a bundle of this identifier.
constexpr std::string_view helperDomain = "xyz.tallvek.Zephlon.ZQMHelper";

}  // namespace

MacUserDefaults::MacUserDefaults(DynamicLibraries& libraries)
    : core_(libraries), calls_(libraries), domain_(nullptr, CFReleaser{&core_}) {
    if (obstacle().empty()) domain_ = makeText(core_, helperDomain);
}

MacUserDefaults::~MacUserDefaults() = default;

/// Why there are no preferences; empty when there may be some.
std::string MacUserDefaults::obstacle() const {
    return core_.isWhole() ? calls_.missing() : core_.missing();
}

std::vector<std::string> MacUserDefaults::problems() const {
    if (obstacle().empty()) return {};
    return {obstacle() + "; no preferences are used"};
}

const Json& MacUserDefaults::valueFor(std::string_view key) {
    const auto found = values_.find(key);
    return found != values_.end() ? found->second : values_.emplace(key, read(key)).first->second;
}

Json MacUserDefaults::read(std::string_view key) const {
    const CFOwned name = domain_ ? makeText(core_, key) : nullptr;
    if (!name) return nullptr;
    const CFOwned object = own(core_, calls_.CFPreferencesCopyAppValue(name.get(), domain_.get()));
    return object ? valueOf(object.get()) : Json();
}

/// What is no flag, number, text or list is there all the same: an empty object.
Json MacUserDefaults::valueOf(CFTypeRef object) const {
    if (const auto elements = elementsOf(core_, object)) {
        Json list = Json::array();
        for (const CFTypeRef element : *elements) {
            const auto text = textOf(core_, element);
            list.push_back(text ? Json(*text) : Json());
        }
        return list;
    }
    const auto value = propertyOf(core_, object);
    if (!value) return Json::object();
    if (const auto* flag = std::get_if<bool>(&*value)) return *flag;
    if (const auto* whole = std::get_if<std::int64_t>(&*value)) return *whole;
    if (const auto* number = std::get_if<double>(&*value)) return finite(*number);
    if (const auto* text = std::get_if<std::string>(&*value)) return *text;
    return Json::object();
}

std::optional<std::string> MacUserDefaults::sourceForKey(std::string_view key) {
    const Json& value = valueFor(key);
    return value.is_null() ? std::nullopt : std::optional(value.dump());
}

CFOwned MacUserDefaults::makeList(const std::vector<std::string>& texts) const {
    std::vector<CFOwned> objects;
    std::vector<CFTypeRef> references;
    for (const std::string& text : texts) {
        objects.push_back(makeText(core_, text));
        if (!objects.back()) return nullptr;
        references.push_back(objects.back().get());
    }
    const auto count = static_cast<CFIndex>(references.size());
    return own(core_, calls_.CFArrayCreate(nullptr, references.data(), count, calls_.kCFTypeArrayCallBacks));
}

/// A flag is kept as the number that every reader takes for it.
CFOwned MacUserDefaults::makeObject(const DefaultsValue& value) const {
    if (const auto* flag = std::get_if<bool>(&value)) return makeNumber(core_, *flag);
    if (const auto* whole = std::get_if<std::int64_t>(&value)) return makeNumber(core_, *whole);
    if (const auto* text = std::get_if<std::string>(&value)) return makeText(core_, *text);
    if (const auto* texts = std::get_if<std::vector<std::string>>(&value)) return makeList(*texts);
    const double number = finite(std::get<double>(value));
    return own(core_, core_.CFNumberCreate(nullptr, cfFloat64, &number));
}

std::optional<std::string> MacUserDefaults::store(std::string_view key, const std::optional<DefaultsValue>& value) {
    if (!obstacle().empty()) return obstacle();
    const CFOwned name = makeText(core_, key);
    const CFOwned object = value ? makeObject(*value) : nullptr;
    if (!domain_ || !name || (value && !object)) return "the system makes no value of it";
    calls_.CFPreferencesSetAppValue(name.get(), object.get(), domain_.get());
    values_.insert_or_assign(std::string(key), object ? valueOf(object.get()) : Json());
    const bool isKept = calls_.CFPreferencesAppSynchronize(domain_.get());
    return isKept ? std::nullopt : std::optional<std::string>("the system does not keep it");
}

}  // namespace zqm
