#pragma once

#include <memory>
#include <optional>
#include <string>

#include "Platform/Process/UserDefaults.h"

namespace zqm {

class Files;

/// Preferences in a file that holds one JSON object; null counts as absent. Read once, at construction.
///
/// A file that is not such an object is reported on standard error and treated as empty; the first value stored then
/// moves it to a file beside it, its name followed by ".invalid". Storing reads the file again, so that what others
/// have changed since stays.
class JsonUserDefaults final : public UserDefaults {
public:
    JsonUserDefaults(Files& files, std::string file);
    ~JsonUserDefaults() override;
    double doubleForKey(std::string_view key) override;
    std::int64_t integerForKey(std::string_view key) override;
    bool boolForKey(std::string_view key) override;
    bool hasObjectForKey(std::string_view key) override;
    std::optional<std::string> stringForKey(std::string_view key) override;
    std::optional<std::vector<std::string>> stringArrayForKey(std::string_view key) override;
    /// A number that is not finite is stored as the nearest finite one, NaN as 0.
    void setDouble(double value, std::string_view key) override;
    /// Stores a value, or removes the key without one. Returns why that failed, for a person, or nullopt.
    std::optional<std::string> store(std::string_view key, const std::optional<DefaultsValue>& value);

    /// "ZQMHelper/defaults.json" below the user's configuration directory ("XDG_CONFIG_HOME", "~/.config" by default);
    /// empty when the user has no home.
    static std::string standardFile();

private:
    struct Values;

    std::optional<std::string> keepAside() const;

    Files& files_;
    const std::string file_;
    std::unique_ptr<Values> values_;
};

}  // namespace zqm
