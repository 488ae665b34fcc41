#include "Support/Text.h"

#include <cmath>
#include <cstring>
#include <nlohmann/json.hpp>

#include "Support/Decimal.h"
#include "Support/Json.h"
#include "ZQMHelper/Shared/Deployment.h"
#include "fuzz/Fuzzing.h"
#include "fuzz/Utf8Model.h"

// Any bytes through what every text and number passes on its way out.

namespace zqm {
namespace {

void checkTexts(std::string_view text) {
    const std::string decoded = decodedModel(text);
    require(isValidUtf8(text) == (decoded == text), "well-formed is what decodes to itself");
    require(repairUtf8(text) == decoded, "repaired as a decoder does");
    for (const bool escapeSolidus : {false, true}) {
        std::string quoted;
        appendJsonString(quoted, text, escapeSolidus);
        const auto read = nlohmann::json::parse(quoted, nullptr, false);
        require(read.is_string() && read.get<std::string>() == decoded, "a JSON text reads back");
        const auto solidus = quoted.find('/');
        require(!escapeSolidus || solidus == std::string::npos || quoted[solidus - 1] == '\\', "solidi are escaped");
    }
    const auto trimmed = trimWhitespace(text);
    require(trimWhitespace(trimmed) == trimmed, "trimming once is enough");
}

void checkNumbers(double value) {
    if (!std::isfinite(value)) return;
    std::string text;
    appendDecimal(text, value);
    require(parseDouble(text) == value, "a number reads back");
    const auto read = nlohmann::json::parse(text, nullptr, false);
    require(read.is_number_float() && read.get<double>() == value, "a number is a fraction in JSON");
}

/// Only a host may come from outside, never a path, a user or another scheme.
void checkUrls(std::string_view host) {
    const auto url = secureUrl(host, "/path");
    if (!url) return;
    const auto isHarmless = [](unsigned char c) { return std::isalnum(c) != 0 || std::strchr("-.:[]", c) != nullptr; };
    require(*url == "https://" + std::string(host) + "/path" && !host.empty(), "a host stays itself");
    require(std::all_of(host.begin(), host.end(), isHarmless), "a host is nothing but a host");
}

}  // namespace
}  // namespace zqm

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace zqm;
    const auto text = textOf(data, size);
    checkTexts(text);
    checkUrls(text);
    double value = 0;
    std::memcpy(&value, data, std::min(size, sizeof value));
    checkNumbers(value);
    return 0;
}
