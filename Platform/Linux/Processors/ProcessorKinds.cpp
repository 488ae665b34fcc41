#include "Platform/Linux/Processors/ProcessorKinds.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <functional>
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

/// A figure of at least `binning` times the next one up is of the same class: silicon is binned.
std::vector<ProcessorKind> kindsByFigure(const Figures& figures, double binning) {
    Figures classes = figures;  // the largest figure of each class, ascending
    std::sort(classes.begin(), classes.end());
    for (std::size_t i = classes.size(); i-- > 1;) {
        if (static_cast<double>(classes[i - 1]) >= binning * static_cast<double>(classes[i]))
            classes[i - 1] = classes[i];
    }
    classes.erase(std::unique(classes.begin(), classes.end()), classes.end());
    std::vector<ProcessorKind> kinds;
    for (const std::uint64_t figure : figures) {
        const auto ofFigure = std::lower_bound(classes.begin(), classes.end(), figure);
        kinds.push_back(ofFigure == classes.end() - 1 ? ProcessorKind::performance
                        : ofFigure == classes.begin() ? ProcessorKind::efficiency
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
    auto efficient = parseNumberList(small.value_or(""), processorNumberLimit);
    const auto lowPower = root.text("/sys/devices/cpu_lowpower/cpus").value_or("");
    for (const unsigned number : parseNumberList(lowPower, processorNumberLimit)) efficient.push_back(number);
    std::sort(efficient.begin(), efficient.end());
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
    return kindsByFigure(*capacities, 0.9);
}

/// What ARM calls the smaller of its cores: kernels without capacities tell the part of each processor.
std::optional<std::vector<ProcessorKind>> kindsByPart(const RootDirectory& root, std::span<const unsigned> numbers) {
    constexpr std::array<std::string_view, 8> smallParts{"0xc07", "0xd03", "0xd04", "0xd05",
                                                         "0xd46", "0xd80", "0xd88", "0xd8f"};
    std::map<std::uint64_t, bool> isSmall;
    std::optional<std::uint64_t> number;
    const std::string info = root.text("/proc/cpuinfo").value_or("") + "\n";
    std::string_view rest = info;
    while (auto line = takeLine(rest)) {
        std::string_view value = *line;
        const std::string_view key = trimBlanks(takeUntil(value, ':'));
        if (key == "processor") number = takeCount(value);
        if (key != "CPU part" || !number) continue;
        isSmall[*number] = std::find(smallParts.begin(), smallParts.end(), takeWord(value)) != smallParts.end();
    }
    std::vector<ProcessorKind> kinds;
    for (const unsigned each : numbers) {
        const auto found = isSmall.find(each);
        if (found == isSmall.end()) return std::nullopt;
        kinds.push_back(found->second ? ProcessorKind::efficiency : ProcessorKind::performance);
    }
    const bool areMixed = std::adjacent_find(kinds.begin(), kinds.end(), std::not_equal_to<>()) != kinds.end();
    return areMixed ? std::optional(std::move(kinds)) : std::nullopt;
}

/// The highest frequencies alone do not tell kinds apart: favoured processors of one kind reach 2 to 9 % more, and the
/// kinds of one early hybrid only 7 %. A gap of more than a sixth does. Where the base frequency is known it decides
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
    if (!isSpread(deciding, base ? 0.8 : 0.84)) return std::nullopt;
    return kindsByFigure(deciding, 0.96);
}

}  // namespace

std::vector<ProcessorKind> readProcessorKinds(const RootDirectory& root, std::span<const unsigned> numbers) {
    if (auto kinds = kindsByHybridLists(root, numbers)) return *kinds;
    if (auto kinds = kindsByCapacity(root, numbers)) return *kinds;
    if (auto kinds = kindsByPart(root, numbers)) return *kinds;
    if (auto kinds = kindsByFrequency(root, numbers)) return *kinds;
    return std::vector<ProcessorKind>(numbers.size(), ProcessorKind::performance);
}

SourceDescription describeProcessorKinds(const RootDirectory& root, std::span<const unsigned> numbers) {
    if (kindsByHybridLists(root, numbers)) return root.describe("/sys/devices/cpu_core/cpus");
    const std::string first = numbers.empty() ? "0" : std::to_string(numbers.front());
    const std::string capacity = processorDirectory + "/cpu" + first + "/cpu_capacity";
    if (root.exists(capacity)) return root.describe(capacity);
    if (kindsByPart(root, numbers)) return root.describe("/proc/cpuinfo");
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
