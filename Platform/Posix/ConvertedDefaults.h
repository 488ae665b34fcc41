#pragma once

#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <vector>

#include "Platform/Process/UserDefaults.h"

namespace zqm {

/// The nearest finite number, 0 for NaN.
double finite(double value);

/// Preferences whose values are told as JSON, with the conversions that the platform promises.
class ConvertedDefaults : public StoredDefaults {
public:
    double doubleForKey(std::string_view key) override;
    std::int64_t integerForKey(std::string_view key) override;
    bool boolForKey(std::string_view key) override;
    bool hasObjectForKey(std::string_view key) override;
    std::optional<std::string> stringForKey(std::string_view key) override;
    std::optional<std::vector<std::string>> stringArrayForKey(std::string_view key) override;
    void setDouble(double value, std::string_view key) override;

protected:
    /// The value under a key; null when there is none. Valid until the key is stored.
    virtual const nlohmann::ordered_json& valueFor(std::string_view key) = 0;
};

}  // namespace zqm
