#include "Platform/Mac/MacSystemFacts.h"

namespace zqm {

std::optional<std::string> MacSystemFacts::bundleText(std::string_view key) {
    if (!core_.isWhole() || !calls_.isWhole()) return std::nullopt;
    const CFTypeRef bundle = calls_.CFBundleGetMainBundle();
    const CFOwned name = makeText(core_, key);
    if (!bundle || !name) return std::nullopt;
    return textOf(core_, calls_.CFBundleGetValueForInfoDictionaryKey(bundle, name.get()));
}

std::string MacSystemFacts::systemVersion() {
    const auto version = sysctlText(sysctl_, "kern.osproductversion");
    const auto build = sysctlText(sysctl_, "kern.osversion");
    return version && build ? "Version " + *version + " (Build " + *build + ")" : "unknown";
}

}  // namespace zqm
