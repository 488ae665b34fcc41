#include "Platform/Linux/Processors/Processors.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <string_view>
#include <utility>

#include "Platform/Linux/Kernel/KernelText.h"
#include "Platform/Linux/Processors/ProcessorKinds.h"
#include "Support/CounterRate.h"
#include "Support/Saturated.h"
#include "Support/Text.h"

namespace zqm {
namespace {

/// "user nice system idle iowait irq softirq steal …"; kernels before 2.6.11 print fewer. Guest time follows, but is
/// already inside user and nice.
std::optional<ProcessorFields> parseFields(std::string_view line) {
    ProcessorFields fields{};
    for (std::size_t i = 0; i < fields.size(); ++i) {
        const auto field = takeCount(line);
        if (!field && i < 4) return std::nullopt;
        if (!field) break;
        fields[i] = *field;
    }
    return fields;
}

}  // namespace

Processors::Processors(const RootDirectory& root) : root_(root), statistics_(root.path("/proc/stat")) {
    if (!statistics_.read() || (root.isThisMachine() && !statistics_.isOfKernel())) return;
    const std::string present = root.text("/sys/devices/system/cpu/present").value_or("");
    for (const unsigned number : parseNumberList(present, processorNumberLimit))
        processors_.push_back({.number = number});
}

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

/// Old kernels set a processor's idle time back when it returns or the machine wakes: that reading tells nothing, least
/// of all that the processor was busy all the time.
void Processors::advance(Processor& processor, const ProcessorFields& fields) {
    const ProcessorFields before = std::exchange(processor.fields, fields);
    if (fields[3] < before[3]) return;
    const auto grown = [&](std::size_t field) { return growth(before[field], fields[field]); };
    ProcessorTicks& ticks = processor.ticks;
    ticks.user = addSaturated(ticks.user, grown(0));
    ticks.nice = addSaturated(ticks.nice, grown(1));
    ticks.system = addSaturated(ticks.system, grown(2), grown(5), grown(6), grown(7));
    ticks.idle = addSaturated(ticks.idle, grown(3), grown(4));
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
        const auto fields = parseFields(*line);
        if (!number || *number >= processorNumberLimit || !fields) continue;
        if (place == processors_.size() || processors_[place].number != *number) {
            const auto at = std::lower_bound(processors_.begin(), processors_.end(), *number,
                                             [](const Processor& each, std::uint64_t n) { return each.number < n; });
            place = static_cast<std::size_t>(at - processors_.begin());
            if (at == processors_.end() || at->number != *number) {
                processors_.insert(at, {.number = static_cast<unsigned>(*number)});
            }
        }
        advance(processors_[place++], *fields);
        found = true;
    }
    return found;
}

}  // namespace zqm
