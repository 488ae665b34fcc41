#include "Platform/Linux/Processors/Processors.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <string_view>

#include "Platform/Linux/Kernel/KernelText.h"
#include "Platform/Linux/Processors/ProcessorKinds.h"
#include "Support/Saturated.h"
#include "Support/Text.h"

namespace zqm {
namespace {

/// "user nice system idle iowait irq softirq steal …" as ticks; kernels before 2.6.11 print fewer. Guest time follows,
/// but is already inside user and nice.
std::optional<ProcessorTicks> parseTicks(std::string_view line) {
    std::array<std::uint64_t, 8> fields{};
    for (std::size_t i = 0; i < fields.size(); ++i) {
        const auto field = takeCount(line);
        if (!field && i < 4) return std::nullopt;
        if (!field) break;
        fields[i] = *field;
    }
    const auto [user, nice, system, idle, iowait, irq, softirq, steal] = fields;
    return ProcessorTicks{.user = user,
                          .system = addSaturated(system, irq, softirq, steal),
                          .idle = addSaturated(idle, iowait),
                          .nice = nice};
}

}  // namespace

Processors::Processors(const RootDirectory& root) : root_(root), statistics_(root.path("/proc/stat")) {}

std::optional<std::vector<ProcessorTicks>> Processors::ticks() {
    if (!refresh()) return std::nullopt;
    std::vector<ProcessorTicks> ticks;
    ticks.reserve(processors_.size());
    for (const Processor& processor : processors_) ticks.push_back(processor.ticks);
    return ticks;
}

std::vector<unsigned> Processors::numbers() {
    refresh();
    std::vector<unsigned> numbers;
    for (const Processor& processor : processors_) numbers.push_back(processor.number);
    if (!numbers.empty()) return numbers;
    return parseNumberList(root_.text("/sys/devices/system/cpu/present").value_or(""), processorNumberLimit);
}

bool Processors::refresh() {
    const auto content = statistics_.read();
    if (!content) return false;
    bool found = false;
    std::size_t place = 0;
    std::string_view rest = *content;
    // The processors come first; the interrupt counts behind them can be a hundred times as long.
    for (auto line = takeLine(rest); line && line->starts_with("cpu"); line = takeLine(rest)) {
        const auto number = parseUnsigned(takeWord(*line).substr(3));  // absent on the line of all processors
        const auto ticks = parseTicks(*line);
        if (!number || *number >= processorNumberLimit || !ticks) continue;
        if (place == processors_.size() || processors_[place].number != *number) {
            const auto at = std::lower_bound(processors_.begin(), processors_.end(), *number,
                                             [](const Processor& each, std::uint64_t n) { return each.number < n; });
            place = static_cast<std::size_t>(at - processors_.begin());
            if (at == processors_.end() || at->number != *number) {
                processors_.insert(at, {.number = static_cast<unsigned>(*number), .ticks = {}});
            }
        }
        processors_[place++].ticks = *ticks;
        found = true;
    }
    return found;
}

}  // namespace zqm
