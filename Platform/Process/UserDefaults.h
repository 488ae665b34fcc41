#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace zqm {

/// What a preference can be stored as.
using DefaultsValue = std::variant<bool, std::int64_t, double, std::string, std::vector<std::string>>;

/// The user's stored preferences for this program. One thread at a time; never fails.
///
/// Conversions are the platform's: a number or numeric text where a number is asked for (the longest numeric beginning
/// of a text counts), a flag as 1 or 0, a text that begins with Y, y, T, t or a number other than 0 as true.
class UserDefaults {
public:
    virtual ~UserDefaults() = default;
    virtual double doubleForKey(std::string_view key) = 0;         // 0 when absent or of another type
    virtual std::int64_t integerForKey(std::string_view key) = 0;  // fraction cut off, saturated; 0 likewise
    virtual bool boolForKey(std::string_view key) = 0;             // false when absent or of another type
    virtual bool hasObjectForKey(std::string_view key) = 0;        // tells an absent key from a stored false
    /// A stored number is given as its text; nullopt when absent or of another type.
    virtual std::optional<std::string> stringForKey(std::string_view key) = 0;
    /// nullopt when absent, not a list, or a list that holds anything but texts.
    virtual std::optional<std::vector<std::string>> stringArrayForKey(std::string_view key) = 0;
    /// What is stored as its text, for people, also where nothing can be made of it; nullopt when absent.
    virtual std::optional<std::string> sourceForKey(std::string_view key) = 0;
    /// Stores a number and keeps it for the next start; other keys stay as they are.
    virtual void setDouble(double value, std::string_view key) = 0;
};

/// Preferences where they are kept, which people may change as well. One thread at a time.
class StoredDefaults : public UserDefaults {
public:
    /// Stores a value, or removes the key without one. A number that is not finite is stored as the nearest finite one,
    /// NaN as 0. Returns why that failed, for a person, or nullopt.
    virtual std::optional<std::string> store(std::string_view key, const std::optional<DefaultsValue>& value) = 0;
    /// What is kept and cannot be used, a line each.
    virtual std::vector<std::string> problems() const { return {}; }
};

}  // namespace zqm
