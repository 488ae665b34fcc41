#include "Platform/Linux/Processors/ProcessorKinds.h"

#include <algorithm>
#include <cstdint>
#include <optional>
#include <string_view>

#include "Platform/Linux/Kernel/KernelText.h"
#include "Support/Text.h"

namespace zqm {
namespace {

using Figures = std::vector<std::uint64_t>;  // one per processor

const std::string processorDirectory = "/sys/devices/system/cpu";

/// Whether the smallest figure is below `fraction` of the largest.
bool isSpread(const Figures& figures, double fraction) {
    const auto [least, most] = std::minmax_element(figures.begin(), figures.end());
    return least != figures.end() && static_cast<double>(*least) < fraction * static_cast<double>(*most);
}

std::vector<ProcessorKind> kindsByFigure(const Figures& figures) {
    const auto [least, most] = std::minmax_element(figures.begin(), figures.end());
    std::vector<ProcessorKind> kinds;
    for (const std::uint64_t figure : figures) {
        kinds.push_back(figure == *most    ? ProcessorKind::performance
                        : figure == *least ? ProcessorKind::efficiency
                                           : ProcessorKind::middle);
    }
    return kinds;
}

/// The figure of every processor; nullopt when one is missing, since the rest would then be compared with nothing.
template <class Read>
std::optional<Figures> readFigures(std::span<const unsigned> numbers, Read read) {
    Figures figures;
    for (const unsigned number : numbers) {
        const std::optional<std::uint64_t> figure = read(number);
        if (!figure || *figure == 0) return std::nullopt;
        figures.push_back(*figure);
    }
    return figures;
}

std::optional<std::vector<ProcessorKind>> kindsByHybridLists(const RootDirectory& root,
                                                             std::span<const unsigned> numbers) {
    const auto large = root.text("/sys/devices/cpu_core/cpus");
    const auto small = root.text("/sys/devices/cpu_atom/cpus");
    if (!large && !small) return std::nullopt;
    const auto efficient = parseNumberList(small.value_or(""), processorNumberLimit);
    std::vector<ProcessorKind> kinds;
    for (const unsigned number : numbers) {
        const bool isSmall = std::binary_search(efficient.begin(), efficient.end(), number);
        kinds.push_back(isSmall ? ProcessorKind::efficiency : ProcessorKind::performance);
    }
    return kinds;
}

/// Capacities of one kind differ by a few percent where silicon is binned; kinds differ by more than a tenth.
std::optional<std::vector<ProcessorKind>> kindsByCapacity(const RootDirectory& root,
                                                          std::span<const unsigned> numbers) {
    const auto capacities = readFigures(numbers, [&](unsigned number) {
        return root.number(processorDirectory + "/cpu" + std::to_string(number) + "/cpu_capacity");
    });
    if (!capacities || !isSpread(*capacities, 0.9)) return std::nullopt;
    return kindsByFigure(*capacities);
}

/// The highest frequencies alone do not tell kinds apart: favoured processors of one kind reach 2 to 9 % more, and the
/// kinds of one early hybrid only 7 %. A gap of more than a fifth does. Where the base frequency is known it decides
/// instead, if the highest ones differ too: some server processors raise the base of a chosen few of one kind.
std::optional<std::vector<ProcessorKind>> kindsByFrequency(const RootDirectory& root,
                                                           std::span<const unsigned> numbers) {
    auto directories = frequencyDirectories(root, numbers);
    auto read = [&](std::string_view file) {
        return readFigures(numbers,
                           [&](unsigned number) { return root.number(directories[number] + std::string(file)); });
    };
    const auto highest = read("/cpuinfo_max_freq");
    if (!highest || !isSpread(*highest, 1)) return std::nullopt;
    const auto base = read("/base_frequency");
    const Figures& deciding = base ? *base : *highest;
    if (!isSpread(deciding, 0.8)) return std::nullopt;
    return kindsByFigure(deciding);
}

}  // namespace

std::vector<ProcessorKind> readProcessorKinds(const RootDirectory& root, std::span<const unsigned> numbers) {
    if (auto kinds = kindsByHybridLists(root, numbers)) return *kinds;
    if (auto kinds = kindsByCapacity(root, numbers)) return *kinds;
    if (auto kinds = kindsByFrequency(root, numbers)) return *kinds;
    return std::vector<ProcessorKind>(numbers.size(), ProcessorKind::performance);
}

SourceDescription describeProcessorKinds(const RootDirectory& root, std::span<const unsigned> numbers) {
    if (kindsByHybridLists(root, numbers)) return root.describe("/sys/devices/cpu_core/cpus");
    const std::string first = numbers.empty() ? "0" : std::to_string(numbers.front());
    const std::string capacity = processorDirectory + "/cpu" + first + "/cpu_capacity";
    if (root.exists(capacity)) return root.describe(capacity);
    const std::string highest = (numbers.empty() ? processorDirectory + "/cpu0/cpufreq"
                                                 : frequencyDirectories(root, numbers)[numbers.front()]) +
                                "/cpuinfo_max_freq";
    return root.exists(highest) ? root.describe(highest) : SourceDescription{"/proc/stat", ""};
}

std::map<unsigned, std::string> frequencyDirectories(const RootDirectory& root, std::span<const unsigned> numbers) {
    std::map<unsigned, std::string> directories;
    for (const unsigned number : numbers) {
        directories[number] = processorDirectory + "/cpu" + std::to_string(number) + "/cpufreq";
    }
    for (const std::string& policy : root.names(processorDirectory + "/cpufreq", "policy")) {
        const std::string directory = processorDirectory + "/cpufreq/" + policy;
        const std::string related = root.text(directory + "/related_cpus").value_or("");
        std::string_view rest = related;
        while (const auto number = takeCount(rest)) directories[static_cast<unsigned>(*number)] = directory;
    }
    return directories;
}

}  // namespace zqm
