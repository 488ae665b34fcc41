#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Platform/Posix/ConvertedDefaults.h"

namespace zqm {

class Files;

/// Preferences in a file that holds one JSON object; null counts as absent. Read once, at construction.
///
/// Each key stands alone: one that cannot be read is left out, with a problem for people, and leaves the others.
/// Storing reads the file again and changes that one key in its text, so that what others have changed since stays, and
/// what nobody understands as well; a file that is no object or cannot be read is not touched.
class JsonUserDefaults final : public ConvertedDefaults {
public:
    JsonUserDefaults(Files& files, std::string file);
    ~JsonUserDefaults() override;
    std::optional<std::string> sourceForKey(std::string_view key) override;
    std::optional<std::string> store(std::string_view key, const std::optional<DefaultsValue>& value) override;

    /// What could not be read, each in one line: the file's path, the line and column, and why.
    std::vector<std::string> problems() const override { return problems_; }

    /// "ZQMHelper/defaults.json" below the user's configuration directory ("XDG_CONFIG_HOME", "~/.config" by default);
    /// empty when the user has no home.
    static std::string standardFile();

private:
    struct Values;

    const nlohmann::ordered_json& valueFor(std::string_view key) override;
    std::optional<std::string> storeAlone(std::string_view key, const std::optional<std::string>& source);

    Files& files_;
    const std::string file_;
    std::unique_ptr<Values> values_;
    std::vector<std::string> problems_;
};

}  // namespace zqm
