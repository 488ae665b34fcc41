#include "Platform/Described/MachineFile.h"

#include <algorithm>
#include <cerrno>
#include <fstream>
#include <nlohmann/json.hpp>
#include <optional>
#include <set>
#include <system_error>
#include <vector>

#include "Support/Text.h"

namespace zqm {
namespace {

constexpr std::size_t maximumSize = std::size_t{16} * 1024 * 1024;
constexpr std::size_t maximumDepth = 64;
constexpr std::size_t maximumMembers = 1024;
constexpr std::size_t maximumMessage = 200;  // the parser quotes the offending token, which may be the whole file

MachineFault faultAt(std::string_view text, std::size_t offset, const std::string& what) {
    const auto before = text.substr(0, offset);
    const auto line = 1 + std::count(before.begin(), before.end(), '\n');
    const auto column = offset - (before.rfind('\n') + 1) + 1;  // npos + 1 is 0
    return {"line " + std::to_string(line) + ", column " + std::to_string(column) + ": " + what};
}

/// The offset just past the string that opens at `begin`.
std::size_t endOfString(std::string_view text, std::size_t begin) {
    std::size_t end = begin + 1;
    while (end < text.size() && text[end] != '"') end += text[end] == '\\' ? 2 : 1;
    return std::min(end + 1, text.size());
}

/// What the JSON parser lets through: bottomless nesting, and keys of which all but the last would be lost. Only the
/// brackets and the keys are looked at; everything else is left to the parser.
std::optional<MachineFault> findStructuralFault(std::string_view text) {
    std::vector<std::set<std::string_view>> keys;  // of each open object or array
    for (std::size_t at = 0; at < text.size();) {
        const char character = text[at];
        if (character == '"') {
            const auto end = endOfString(text, at);
            const auto next = text.find_first_not_of(" \t\r\n", end);
            if (next != text.npos && text[next] == ':' && !keys.empty()) {
                const auto key = text.substr(at, end - at);
                if (!keys.back().insert(key).second) {
                    return faultAt(text, at, "the key " + std::string(key.substr(0, maximumMessage)) + " is repeated");
                }
                if (keys.back().size() > maximumMembers) return faultAt(text, at, "too many members in one object");
            }
            at = end;
            continue;
        }
        if (character == '{' || character == '[') {
            if (keys.size() == maximumDepth) return faultAt(text, at, "nested too deeply");
            keys.emplace_back();
        } else if ((character == '}' || character == ']') && !keys.empty()) {
            keys.pop_back();
        }
        ++at;
    }
    return std::nullopt;
}

/// The parser's own words without its prefixes: "line 3, column 5: syntax error …".
MachineFault faultOf(const nlohmann::json::exception& error) {
    std::string message = error.what();
    for (const std::string_view prefix : {"] ", "parse error at "}) {
        const auto found = message.find(prefix);
        if (found != message.npos) message.erase(0, found + prefix.size());
    }
    return {repairUtf8(message.substr(0, maximumMessage))};
}

}  // namespace

std::variant<std::string, MachineFault> readMachineFile(const std::filesystem::path& file) {
    std::error_code none;
    const auto status = std::filesystem::status(file, none);
    const bool isStream = std::filesystem::exists(status) && !std::filesystem::is_regular_file(status);
    if (isStream) return MachineFault{"not a regular file"};  // a pipe would be waited for
    std::ifstream stream(file, std::ios::binary);
    std::string text;
    if (stream) {
        text.resize(maximumSize + 1);
        stream.read(text.data(), static_cast<std::streamsize>(text.size()));
        text.resize(static_cast<std::size_t>(stream.gcount()));
    }
    if (!stream.eof()) {
        if (text.size() > maximumSize) return MachineFault{"larger than 16 MiB"};
        return MachineFault{"cannot be read: " + std::generic_category().message(errno)};
    }
    return text;
}

std::variant<nlohmann::ordered_json, MachineFault> parseMachine(std::string_view text) {
    if (auto fault = findStructuralFault(text)) return std::move(*fault);
    try {
        return nlohmann::ordered_json::parse(text);
    } catch (const nlohmann::json::exception& error) {
        return faultOf(error);
    }
}

}  // namespace zqm
