#include "Client/Nearest.h"

#include <algorithm>

namespace zqm {
namespace {

/// How many letters make the one word of the other, by rows of the table of their beginnings.
std::size_t distance(std::string_view a, std::string_view b) {
    std::vector<std::size_t> before(b.size() + 1), row(b.size() + 1), next(b.size() + 1);
    for (std::size_t j = 0; j <= b.size(); ++j) row[j] = j;
    for (std::size_t i = 0; i < a.size(); ++i) {
        next[0] = i + 1;
        for (std::size_t j = 0; j < b.size(); ++j) {
            next[j + 1] = std::min({row[j + 1] + 1, next[j] + 1, row[j] + (a[i] == b[j] ? 0 : 1)});
            const bool isSwapped = i > 0 && j > 0 && a[i] == b[j - 1] && a[i - 1] == b[j];
            if (isSwapped) next[j + 1] = std::min(next[j + 1], before[j - 1] + 1);
        }
        before.swap(row);
        row.swap(next);
    }
    return row[b.size()];
}

}  // namespace

std::string nearest(std::string_view word, const std::vector<std::string>& candidates) {
    constexpr std::size_t longest = 64;  // what is longer was not mistyped
    if (word.size() > longest) return {};
    std::string best;
    std::size_t least = std::max<std::size_t>(1, word.size() / 3) + 1;
    for (const std::string& candidate : candidates) {
        const std::size_t apart = distance(word, candidate);
        if (apart >= least) continue;
        least = apart;
        best = candidate;
    }
    return best;
}

}  // namespace zqm
