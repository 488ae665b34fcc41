#include "Platform/Linux/Kernel/KernelText.h"

#include <algorithm>
#include <charconv>
#include <utility>

#include "Support/Text.h"

namespace zqm {
namespace {

bool isBlank(char c) {
    return c == ' ' || c == '\t';
}

bool isAtAnEnd(char c) {
    return static_cast<unsigned char>(c) <= ' ' || c == 0x7F;
}

}  // namespace

std::string_view trimBlanks(std::string_view text) {
    while (!text.empty() && isAtAnEnd(text.front())) text.remove_prefix(1);
    while (!text.empty() && isAtAnEnd(text.back())) text.remove_suffix(1);
    return text;
}

std::optional<std::string_view> takeLine(std::string_view& rest) {
    if (rest.empty()) return std::nullopt;
    const std::size_t end = rest.find('\n');
    if (end == std::string_view::npos) {
        const std::size_t lastBlank = rest.find_last_of(" \t");
        return std::exchange(rest, {}).substr(0, lastBlank == std::string_view::npos ? 0 : lastBlank);
    }
    const std::string_view line = rest.substr(0, end);
    rest.remove_prefix(end + 1);
    return line;
}

std::optional<std::uint64_t> takeCount(std::string_view& line) {
    const char* at = line.data();
    const char* const end = at + line.size();
    while (at != end && isBlank(*at)) ++at;
    bool isCount = at != end;
    std::uint64_t count = 0;
    for (; at != end && !isBlank(*at); ++at) {
        const unsigned digit = static_cast<unsigned char>(*at) - unsigned{'0'};
        isCount = isCount && digit <= 9 && !__builtin_mul_overflow(count, 10, &count) &&
                  !__builtin_add_overflow(count, digit, &count);
    }
    line = {at, static_cast<std::size_t>(end - at)};
    return isCount ? std::optional(count) : std::nullopt;
}

std::optional<std::uint64_t> takeHexadecimal(std::string_view& line) {
    const std::string_view word = takeWord(line);
    std::uint64_t value = 0;
    const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), value, 16);
    return error == std::errc{} && end == word.data() + word.size() ? std::optional(value) : std::nullopt;
}

void skipFields(std::string_view& line, unsigned fields) {
    for (; fields > 0; --fields) takeWord(line);
}

std::vector<unsigned> parseNumberList(std::string_view text, unsigned limit) {
    std::vector<unsigned> numbers;
    while (!text.empty()) {
        std::string_view last = trimBlanks(takeUntil(text, ','));
        const std::string_view first = takeUntil(last, '-');
        const auto begin = parseUnsigned(first);
        const auto end = last.empty() ? begin : parseUnsigned(last);
        if (!begin || !end) continue;
        for (std::uint64_t number = *begin; number <= *end && number < limit; ++number) {
            numbers.push_back(static_cast<unsigned>(number));
        }
    }
    std::sort(numbers.begin(), numbers.end());
    numbers.erase(std::unique(numbers.begin(), numbers.end()), numbers.end());
    return numbers;
}

}  // namespace zqm
