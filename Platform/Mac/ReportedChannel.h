#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "Platform/Apple/IOReport.h"
#include "Platform/Mac/Libraries/CoreFoundation.h"

namespace zqm {

/// A channel of a sample as the library has it, or several of a chip's dies as one.
struct ReportedChannel final : ReportChannel {
    ReportedChannel(std::optional<std::string> called, CFTypeRef channel) : name(std::move(called)), object(channel) {}

    std::optional<std::string> name;
    CFTypeRef object;
    std::vector<CFTypeRef> others;  // whose counters are added; their units and states are those of `object`
};

/// Chips of two dies name the channels of their processors "DIE_0_ECPU", "DIE_1_PCPU010" and so on, which readers of
/// "ECPU…", "PCPU…" and "MCPU…" do not know. Appends what they look for: per kind its clusters of that plain name as
/// one, their counters added, and each other channel on its own, called after its die as in "PCPU1010". Such a name
/// that a sample has already is left to it.
void appendChannelsOfDies(std::vector<ReportedChannel>& channels);

}  // namespace zqm
