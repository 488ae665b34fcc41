#include "Platform/Mac/ReportedChannel.h"

#include <algorithm>
#include <map>

namespace zqm {
namespace {

bool isNumber(std::string_view text) {
    return text.find_first_not_of("0123456789") == text.npos;
}

/// The name that readers know for a channel of one die; empty: they know none.
std::string plainName(std::string_view name) {
    constexpr std::string_view prefix = "DIE_";
    if (!name.starts_with(prefix)) return {};
    name.remove_prefix(prefix.size());
    const std::string_view die = name.substr(0, name.find('_'));
    if (die.size() == name.size() || die.empty() || !isNumber(die)) return {};
    name.remove_prefix(die.size() + 1);
    const std::string_view kind = name.substr(0, 4);
    if ((kind != "ECPU" && kind != "PCPU" && kind != "MCPU") || !isNumber(name.substr(kind.size()))) return {};
    return name == kind ? std::string(kind) : std::string(kind).append(die).append(name.substr(kind.size()));
}

}  // namespace

void appendChannelsOfDies(std::vector<ReportedChannel>& channels) {
    std::vector<ReportedChannel> found;
    for (const ReportedChannel& channel : channels) {
        const std::string name = channel.name ? plainName(*channel.name) : "";
        const auto isCalledSo = [&](const ReportedChannel& other) { return other.name == name; };
        if (name.empty() || std::any_of(channels.begin(), channels.end(), isCalledSo)) continue;
        const auto same = std::find_if(found.begin(), found.end(), isCalledSo);
        if (same != found.end()) {
            same->others.push_back(channel.object);
        } else {
            found.emplace_back(name, channel.object);
        }
    }
    channels.insert(channels.end(), found.begin(), found.end());
}

}  // namespace zqm
