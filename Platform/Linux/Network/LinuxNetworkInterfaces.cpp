#include "Platform/Linux/Network/LinuxNetworkInterfaces.h"

#include "Platform/Linux/Kernel/KernelText.h"

namespace zqm {
namespace {

/// The counters of a line behind its name: received bytes and seven other figures, then sent bytes.
std::optional<LinkInterface::Counters> parseCounters(std::string_view text) {
    const auto received = takeCount(text);
    skipFields(text, 7);
    const auto sent = takeCount(text);
    if (!received || !sent) return std::nullopt;
    return LinkInterface::Counters{.received = *received, .sent = *sent};
}

}  // namespace

std::optional<std::vector<LinkInterface>> LinuxNetworkInterfaces::links() {
    const auto content = devices_.read();
    if (!content) return std::nullopt;
    std::vector<LinkInterface> links;
    links.reserve(kernelNames_.size());
    kernelNames_.clear();
    std::string_view rest = *content;
    while (const auto line = takeLine(rest)) {
        const std::size_t colon = line->rfind(':');  // a name may hold colons, the figures never do
        if (colon == std::string_view::npos) continue;
        std::string_view beforeColon = line->substr(0, colon);
        const std::string_view name = takeField(beforeColon);
        if (name.empty()) continue;
        kernelNames_.push_back(name);
        links.push_back({.name = {}, .counters = parseCounters(line->substr(colon + 1))});
    }
    const auto& presented = names_.present(kernelNames_);
    for (std::size_t i = 0; i < links.size(); ++i) links[i].name = presented[i];
    return links;
}

std::optional<std::string> LinuxNetworkInterfaces::presentedName(std::string_view kernelName) {
    auto name = names_.find(kernelName);
    if (!name && links()) name = names_.find(kernelName);
    return name;
}

}  // namespace zqm
