#include "Platform/Mac/MacSystemFacts.h"

#include "Support/Text.h"

namespace zqm {

std::optional<std::string> MacSystemFacts::bundleText(std::string_view key) {
    if (!core_.isWhole() || !calls_.isWhole()) return std::nullopt;
    const CFTypeRef bundle = calls_.CFBundleGetMainBundle();
    const CFOwned name = makeText(core_, key);
    if (!bundle || !name) return std::nullopt;
    return textOf(core_, calls_.CFBundleGetValueForInfoDictionaryKey(bundle, name.get()));
}

std::string MacSystemFacts::systemVersion() {
    const auto version = told("kern.osproductversion");
    const auto build = told("kern.osversion");
    return version && build ? "Version " + *version + " (Build " + *build + ")" : "unknown";
}

/// A text of the kernel's values; nullopt when it is unknown or has no bytes.
std::optional<std::string> MacSystemFacts::told(std::string_view name) {
    const auto bytes = sysctl_.read(name);
    if (!bytes || bytes->empty()) return std::nullopt;
    return repairUtf8(std::string(bytes->begin(), std::find(bytes->begin(), bytes->end(), std::uint8_t{0})));
}

}  // namespace zqm
