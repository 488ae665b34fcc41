#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Platform/Process/UserDefaults.h"

namespace zqm {

class Files;

/// Preferences in a file that holds one JSON object; null counts as absent. Read once, at construction.
///
/// Each key stands alone: one that cannot be read is left out, with a problem for people, and leaves the others.
/// Storing reads the file again and changes that one key in its text, so that what others have changed since stays, and
/// what nobody understands as well; a file that is no object or cannot be read is not touched.
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
    std::optional<std::string> sourceForKey(std::string_view key) override;
    /// A number that is not finite is stored as the nearest finite one, NaN as 0.
    void setDouble(double value, std::string_view key) override;
    /// Stores a value, or removes the key without one. Returns why that failed, for a person, or nullopt.
    std::optional<std::string> store(std::string_view key, const std::optional<DefaultsValue>& value);

    /// What could not be read, each in one line: the file's path, the line and column, and why.
    const std::vector<std::string>& problems() const { return problems_; }

    /// "ZQMHelper/defaults.json" below the user's configuration directory ("XDG_CONFIG_HOME", "~/.config" by default);
    /// empty when the user has no home.
    static std::string standardFile();

private:
    struct Values;

    std::optional<std::string> storeAlone(std::string_view key, const std::optional<std::string>& source);

    Files& files_;
    const std::string file_;
    std::unique_ptr<Values> values_;
    std::vector<std::string> problems_;
};

}  // namespace zqm
