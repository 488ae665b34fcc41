#pragma once

#include <map>
#include <string>

#include "Platform/Mac/CoreValues.h"
#include "Platform/Mac/Libraries/Preferences.h"
#include "Platform/Posix/ConvertedDefaults.h"

namespace zqm {

/// The user's preferences of the helper as the system keeps them, for `defaults` and the menu-bar program as well. Each
/// key is read when it is first asked for. Without the system's library there are none.
class MacUserDefaults final : public ConvertedDefaults {
public:
    explicit MacUserDefaults(DynamicLibraries& libraries);
    ~MacUserDefaults() override;
    std::optional<std::string> sourceForKey(std::string_view key) override;
    std::optional<std::string> store(std::string_view key, const std::optional<DefaultsValue>& value) override;
    std::vector<std::string> problems() const override;

private:
    const nlohmann::ordered_json& valueFor(std::string_view key) override;
    nlohmann::ordered_json read(std::string_view key) const;
    nlohmann::ordered_json valueOf(CFTypeRef object) const;
    CFOwned makeObject(const DefaultsValue& value) const;
    CFOwned makeList(const std::vector<std::string>& texts) const;
    std::string obstacle() const;

    const CoreFoundation core_;
    const PreferenceCalls calls_;
    CFOwned domain_;
    std::map<std::string, nlohmann::ordered_json, std::less<>> values_;
};

}  // namespace zqm
