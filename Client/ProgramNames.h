#pragma once

#include <array>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "ZQMHelper/Shared/MetricsJson.h"

namespace zqm {

/// What processes of one name use together.
struct ProgramFigure {
    std::string name;
    double value = 0;
};

/// The ranking by name, largest first and without zeros. The kernel's workers of one kind are one program: of
/// "kworker/u8:2-events" and "ksoftirqd/3" what stands before the solidus.
std::vector<ProgramFigure> summedByName(const std::vector<TopProcess>& ranking);

/// Keeps the names bounded that a database is told, since each is a time series of its own for as long as that keeps
/// any: in each category no more than `most` in any day, and `otherName` for everything else together.
///
/// A name keeps its place for a day after it was last seen. The first `atOnce` names get theirs at once; the places
/// that are left then are for those that stay in the ranking for `patience`, so that what is busy for long finds one
/// even after hundreds that were there for a moment. One thread at a time.
class ProgramNames {
public:
    static constexpr std::size_t most = 60;
    static constexpr std::size_t atOnce = 40;
    static constexpr Seconds memory{24 * 3600};
    static constexpr Seconds patience{60};
    static constexpr std::string_view otherName = "(other)";

    /// `programs` with everything that has no place summed as `otherName`.
    std::vector<ProgramFigure> bounded(ProcessCategory category, std::vector<ProgramFigure> programs,
                                       MonotonicTime now);

private:
    using Times = std::map<std::string, MonotonicTime, std::less<>>;
    struct Places {
        Times lastSeen;   // of the names that have a place
        Times waitsFrom;  // of those that do not, as long as they stay in the ranking
    };
    std::array<Places, allCases<ProcessCategory>().size()> places_;
};

}  // namespace zqm
