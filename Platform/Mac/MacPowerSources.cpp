#include "Platform/Mac/MacPowerSources.h"

namespace zqm {

std::optional<std::vector<std::optional<PropertyDictionary>>> MacPowerSources::descriptions() {
    if (!missingForSources().empty()) return std::nullopt;
    const CFOwned info = own(core_, sources_.IOPSCopyPowerSourcesInfo());
    const CFOwned list = own(core_, info ? sources_.IOPSCopyPowerSourcesList(info.get()) : nullptr);
    const auto elements = elementsOf(core_, list.get());
    if (!elements) return std::nullopt;
    std::vector<std::optional<PropertyDictionary>> descriptions;
    for (CFTypeRef source : *elements) {
        descriptions.push_back(dictionaryOf(core_, sources_.IOPSGetPowerSourceDescription(info.get(), source)));
    }
    return descriptions;
}

std::optional<PropertyValue> MacPowerSources::adapterDetails() {
    if (!missingForAdapter().empty()) return std::nullopt;
    return propertyOf(core_, own(core_, adapter_.IOPSCopyExternalPowerAdapterDetails()).get());
}

}  // namespace zqm
