#include "Platform/Posix/JsonUserDefaults.h"

#include <filesystem>
#include <map>
#include <nlohmann/json.hpp>
#include <utility>

#include "Platform/Posix/ObjectText.h"
#include "Platform/Posix/UserDirectories.h"
#include "Platform/Process/Files.h"
#include "Support/Text.h"

namespace zqm {
namespace {

using Json = nlohmann::ordered_json;

constexpr std::size_t mostProblems = 8;
constexpr std::size_t longestName = 80;  // bytes of a key that are told

Json jsonOf(const DefaultsValue& value) {
    if (const auto* number = std::get_if<double>(&value)) return finite(*number);
    return std::visit([](const auto& plain) { return Json(plain); }, value);
}

}  // namespace

struct JsonUserDefaults::Values {
    struct Value {
        Json json;           // null when it cannot be read
        std::string source;  // its text in the file
    };
    std::map<std::string, Value, std::less<>> byKey;

    /// The value under a key; null when there is none.
    const Json& at(std::string_view key) const {
        static const Json absent;
        const auto found = byKey.find(key);
        return found == byKey.end() ? absent : found->second.json;
    }

    /// Takes the member, or returns why it cannot.
    std::optional<std::string> take(const ObjectText& object, const ObjectText::Member& member) {
        if (!member.key) return "this is no member of an object";
        Value& value = byKey[*member.key];
        value = {nullptr, std::string(object.valueOf(member))};
        const auto name = repairUtf8(Json(*member.key).dump().substr(0, longestName));
        if (member.isDeep) return name + " is nested too deeply";
        try {
            value.json = Json::parse(value.source);
        } catch (const Json::out_of_range&) {
            return name + " is a number that is too large";
        } catch (const Json::exception&) {
            return name + " is not JSON";
        }
        return std::nullopt;
    }
};

JsonUserDefaults::JsonUserDefaults(Files& files, std::string file)
    : files_(files), file_(std::move(file)), values_(std::make_unique<Values>()) {
    files_.removeLeftovers(file_);
    const auto content = files_.read(file_);
    if (!content.text) {
        if (!content.isMissing) problems_.push_back(content.problem + "; no preferences are used");
        return;
    }
    const ObjectText object(*content.text);
    if (object.fault()) problems_.push_back(file_ + ": " + *object.fault());
    std::size_t untold = 0;
    for (const auto& member : object.members()) {
        const auto problem = values_->take(object, member);
        if (!problem) continue;
        if (problems_.size() == mostProblems) {
            ++untold;
            continue;
        }
        problems_.push_back(file_ + ": " + object.place(member.begin) + ": " + *problem + "; it is not used");
    }
    if (untold > 0) problems_.push_back(file_ + ": " + std::to_string(untold) + " more that cannot be used");
}

JsonUserDefaults::~JsonUserDefaults() = default;

const Json& JsonUserDefaults::valueFor(std::string_view key) {
    return values_->at(key);
}

std::optional<std::string> JsonUserDefaults::sourceForKey(std::string_view key) {
    const auto found = values_->byKey.find(key);
    if (found == values_->byKey.end() || found->second.source == "null") return std::nullopt;
    return found->second.source;
}

std::optional<std::string> JsonUserDefaults::store(std::string_view key, const std::optional<DefaultsValue>& value) {
    const Json json = value ? jsonOf(*value) : Json();
    const auto source = value ? std::optional(json.dump()) : std::nullopt;
    values_->byKey[std::string(key)] = {json, json.dump()};
    if (file_.empty()) return "there is no home directory to keep them in";
    const std::string directory = std::filesystem::path(file_).parent_path();
    auto problem = makePrivateDirectory(directory);
    if (problem) return problem;
    files_.exclusively(directory, [&](bool isAlone) {
        problem = isAlone ? storeAlone(key, source) : file_ + ": another program does not cease to change it";
    });
    return problem;
}

/// Writes the member into the file as it is now, so that what others have changed since stays.
std::optional<std::string> JsonUserDefaults::storeAlone(std::string_view key,
                                                        const std::optional<std::string>& source) {
    const auto content = files_.read(file_);
    if (!content.text && !content.isMissing) return content.problem;
    const ObjectText object(content.text.value_or(""));
    if (object.fault()) return file_ + ": " + *object.fault() + "; mend it by hand, or move it away";
    return files_.update(file_, object.with(key, source));
}

std::string JsonUserDefaults::standardFile() {
    const auto directory = userDirectory("XDG_CONFIG_HOME", ".config");
    return directory ? pathBelow(*directory, "ZQMHelper/defaults.json") : std::string();
}

}  // namespace zqm
