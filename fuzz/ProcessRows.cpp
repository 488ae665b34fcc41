#include "ZQMHelper/Shared/CommandOutput.h"
#include "fuzz/CommandModel.h"
#include "fuzz/Fuzzing.h"

// Any text as the output of ps, whose rows must be those that a plain reading of its four columns gives.

namespace zqm {
namespace {

std::optional<double> percentModel(const std::string& text) {
    if (!isSignedNumber(text, ".eE+-")) return std::nullopt;
    char* end = nullptr;
    errno = 0;
    const double value = std::strtod(text.c_str(), &end);
    const bool isTooSmall = errno == ERANGE && value == 0;
    return end == text.c_str() + text.size() && std::isfinite(value) && !isTooSmall ? std::optional(value)
                                                                                    : std::nullopt;
}

std::optional<std::uint64_t> kibibytesModel(const std::string& text) {
    if (!isSignedNumber(text, "") || text.starts_with('-')) return std::nullopt;
    errno = 0;
    const unsigned long long value = std::strtoull(text.c_str(), nullptr, 10);
    return errno == 0 ? std::optional<std::uint64_t>(value) : std::nullopt;
}

std::string lastComponentModel(const std::string& path) {
    const auto components = pieces(path, "/");
    return components.empty() ? "/" : components.back();
}

std::optional<ProcessRow> rowModel(const std::string& line) {
    std::vector<std::string> columns(3);
    std::size_t at = 0;
    for (std::string& column : columns) {
        while (at < line.size() && line[at] == ' ') ++at;
        while (at < line.size() && line[at] != ' ') column += line[at++];
    }
    if (at + 1 >= line.size()) return std::nullopt;
    const auto percent = percentModel(columns[0]);
    const auto pid = pidModel(columns[1]);
    const auto kibibytes = kibibytesModel(columns[2]);
    if (!percent || !pid || !kibibytes) return std::nullopt;
    const bool fits = *kibibytes <= UINT64_MAX / 1024;
    return ProcessRow{*pid, 0, lastComponentModel(line.substr(at + 1)), *percent,
                      fits ? *kibibytes * 1024 : UINT64_MAX / 1024 * 1024};
}

}  // namespace
}  // namespace zqm

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace zqm;
    const auto output = textOf(data, size);
    std::vector<ProcessRow> expected;
    for (const std::string& line : pieces(output, "\n")) {
        if (const auto row = rowModel(line)) expected.push_back(*row);
    }
    const auto rows = parseProcessRows(output);
    require(rows.size() == expected.size(), "the same lines are rows");
    for (std::size_t i = 0; i < rows.size(); ++i) {
        require(rows[i].cpuPercent == expected[i].cpuPercent && rows[i].pid == expected[i].pid &&
                    rows[i].residentBytes == expected[i].residentBytes,
                "the numbers are those of the columns");
        require(rows[i].name == expected[i].name, "the name is the last component of the rest");
    }
    return 0;
}
