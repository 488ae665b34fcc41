#include "ZQMHelper/Shared/CommandOutput.h"

#include <charconv>
#include <limits>
#include <optional>
#include <unordered_map>

#include "Support/Text.h"

namespace zqm {
namespace {

/// The next field of a line, fields being separated by runs of spaces; nullopt when none is left. The one space that
/// ends the field goes with it.
std::optional<std::string_view> takeField(std::string_view& rest) {
    while (rest.starts_with(' ')) rest.remove_prefix(1);
    if (rest.empty()) return std::nullopt;
    return takeUntil(rest, ' ');
}

std::optional<std::int32_t> parsePid(std::string_view text) {
    const auto value = parseInteger(text);
    if (!value || *value < std::numeric_limits<std::int32_t>::min() ||
        *value > std::numeric_limits<std::int32_t>::max()) {
        return std::nullopt;
    }
    return static_cast<std::int32_t>(*value);
}

/// What follows the last solidus, solidi at the end not counting.
std::string_view lastPathComponent(std::string_view path) {
    while (path.size() > 1 && path.ends_with('/')) path.remove_suffix(1);
    return path == "/" ? path : path.substr(path.rfind('/') + 1);
}

std::optional<ProcessRow> parseProcessRow(std::string_view line) {
    const auto percent = takeField(line);
    const auto pidText = takeField(line);
    const auto kibibytes = takeField(line);
    if (!kibibytes || line.empty()) return std::nullopt;
    const auto cpu = parseDouble(*percent);
    const auto pid = parsePid(*pidText);
    const auto resident = parseUnsigned(*kibibytes);
    if (!cpu || !pid || !resident) return std::nullopt;
    constexpr auto most = std::numeric_limits<std::uint64_t>::max() / 1024;
    return ProcessRow{.pid = *pid,
                      .startTime = 0,
                      .name = std::string(lastPathComponent(line)),
                      .cpuPercent = *cpu,
                      .residentBytes = std::min(*resident, most) * 1024};
}

/// The byte that an escape at the front of `text` stands for.
std::optional<char> escapedByte(std::string_view text) {
    if (text.size() < 4 || !text.starts_with("\\x")) return std::nullopt;
    unsigned value = 0;
    const char* end = text.data() + 4;
    const auto parsed = std::from_chars(text.data() + 2, end, value, 16);
    return parsed.ec == std::errc{} && parsed.ptr == end ? std::optional(static_cast<char>(value)) : std::nullopt;
}

}  // namespace

std::vector<ProcessRow> parseProcessRows(std::string_view output) {
    std::vector<ProcessRow> rows;
    while (!output.empty()) {
        if (auto row = parseProcessRow(takeUntil(output, '\n'))) rows.push_back(std::move(*row));
    }
    return rows;
}

std::vector<SocketOwner> parseSocketOwners(std::string_view output) {
    std::vector<SocketOwner> owners;
    std::unordered_map<std::int32_t, std::size_t> places;
    while (!output.empty()) {
        std::string_view line = takeUntil(output, '\n');
        const auto name = takeField(line);
        const auto second = takeField(line);
        const auto pid = second ? parsePid(*second) : std::nullopt;
        if (!pid) continue;
        const auto [place, isNew] = places.try_emplace(*pid, owners.size());
        if (isNew) owners.push_back({.pid = *pid, .name = {}, .sockets = 0});
        SocketOwner& owner = owners[place->second];
        owner.name = unescapeLsofName(*name);
        ++owner.sockets;
    }
    return owners;
}

std::string unescapeLsofName(std::string_view name) {
    if (name.find("\\x") == std::string_view::npos) return std::string(name);
    std::string bytes;
    while (!name.empty()) {
        const auto byte = escapedByte(name);
        bytes += byte.value_or(name.front());
        name.remove_prefix(byte ? 4 : 1);
    }
    return repairUtf8(bytes);
}

}  // namespace zqm
