#include "Platform/Linux/KernelText.h"

#include <algorithm>
#include <limits>

#include "Support/Text.h"

namespace zqm {

std::optional<std::string_view> takeLine(std::string_view& rest) {
    const std::size_t end = rest.find('\n');
    if (end == std::string_view::npos) return std::nullopt;
    const std::string_view line = rest.substr(0, end);
    rest.remove_prefix(end + 1);
    return line;
}

std::optional<std::uint64_t> takeCount(std::string_view& line) {
    return parseUnsigned(takeWord(line));
}

void skipWords(std::string_view& line, unsigned words) {
    for (; words > 0; --words) takeWord(line);
}

std::uint64_t addSaturated(std::uint64_t left, std::uint64_t right) {
    const std::uint64_t room = std::numeric_limits<std::uint64_t>::max() - left;
    return left + std::min(right, room);
}

std::vector<unsigned> parseNumberList(std::string_view text, unsigned limit) {
    std::vector<unsigned> numbers;
    while (!text.empty()) {
        std::string_view last = trimWhitespace(takeUntil(text, ','));
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
