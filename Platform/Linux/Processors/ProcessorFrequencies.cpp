#include "Platform/Linux/Processors/ProcessorFrequencies.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "Platform/Linux/Kernel/KernelText.h"
#include "Support/Text.h"

namespace zqm {
namespace {

constexpr Seconds readingTimePerTick(0.02);
constexpr std::uint32_t plausibleKilohertz = 100'000'000;  // 100 GHz

std::optional<std::uint32_t> plausible(std::optional<std::uint64_t> kilohertz) {
    if (!kilohertz || *kilohertz == 0 || *kilohertz >= plausibleKilohertz) return std::nullopt;
    return static_cast<std::uint32_t>(*kilohertz);
}

/// The whole of a file that holds one number.
std::optional<std::uint32_t> readKilohertz(KernelFile& file) {
    std::string_view rest = file.read().value_or("");
    auto line = takeLine(rest);
    return line ? plausible(takeCount(*line)) : std::nullopt;
}

std::optional<std::uint32_t> readKilohertz(const RootDirectory& root, const std::string& path) {
    return plausible(root.number(path));
}

void addWords(ClockSteps& steps, std::string_view words) {
    while (true) {
        const std::string_view word = takeField(words);
        if (word.empty()) return;
        if (const auto step = plausible(parseUnsigned(word))) steps.push_back(*step);
    }
}

/// What the clock's driver lists, with the boost steps that some list apart; empty when it lists nothing.
ClockSteps listedSteps(const RootDirectory& root, const std::string& directory) {
    ClockSteps steps;
    addWords(steps, root.text(directory + "/scaling_available_frequencies").value_or(""));
    if (steps.empty()) {
        const std::string table = root.text(directory + "/stats/time_in_state").value_or("");
        std::string_view rest = table;
        while (!rest.empty()) {
            std::string_view line = takeUntil(rest, '\n');
            if (const auto step = plausible(takeCount(line))) steps.push_back(*step);
        }
    }
    if (steps.empty()) return steps;
    addWords(steps, root.text(directory + "/scaling_boost_frequencies").value_or(""));
    if (const auto most = readKilohertz(root, directory + "/cpuinfo_max_freq")) steps.push_back(*most);
    return steps;
}

void sortUnique(ClockSteps& steps) {
    std::sort(steps.begin(), steps.end());
    steps.erase(std::unique(steps.begin(), steps.end()), steps.end());
}

struct Range {
    std::uint32_t least = std::numeric_limits<std::uint32_t>::max();
    std::uint32_t most = 0;
    void add(std::uint32_t step) {
        least = std::min(least, step);
        most = std::max(most, step);
    }
};

}  // namespace

ClockSteps evenSteps(std::uint32_t least, std::uint32_t most) {
    // A frequency between two steps is presented as time spent in both: a few are as exact as many.
    constexpr std::uint64_t count = 4;
    if (least >= most) return {most};
    ClockSteps steps;
    for (std::uint64_t i = 0; i <= count; ++i) {
        steps.push_back(least + static_cast<std::uint32_t>((most - least) * i / count));
    }
    sortUnique(steps);
    return steps;
}

ProcessorFrequencies::ProcessorFrequencies(const RootDirectory& root, Processors& processors, Clock& clock)
    : root_(root),
      processors_(processors),
      clock_(clock),
      info_(root.path("/proc/cpuinfo")),
      online_(root.path("/sys/devices/system/cpu/online")) {}

ClockSteps ProcessorFrequencies::steps(ProcessorKind kind) {
    MutexLock lock(mutex_);
    discover();
    const auto found = steps_.find(kind);
    return found == steps_.end() ? ClockSteps{} : found->second;
}

std::vector<ProcessorFrequency> ProcessorFrequencies::read() {
    MutexLock lock(mutex_);
    discover();
    refresh();
    std::vector<ProcessorFrequency> frequencies;
    frequencies.reserve(members_.size());
    for (const Member& member : members_) {
        double kilohertz = 0;
        if (member.isOnline && member.clockwork) kilohertz = clockworks_[*member.clockwork].kilohertz;
        if (const auto found = infoKilohertz_.find(member.number);
            member.isOnline && !member.clockwork && found != infoKilohertz_.end()) {
            kilohertz = found->second;
        }
        frequencies.push_back({member.kind, kilohertz});
    }
    return frequencies;
}

/// Which processors there are and which of them share a clock changes when processors come and go.
void ProcessorFrequencies::discover() {
    if (!discovery_.isDue(clock_.monotonic())) return;
    const std::vector<unsigned> numbers = processors_.numbers();
    const bool isKnown = std::equal(numbers.begin(), numbers.end(), members_.begin(), members_.end(),
                                    [](unsigned number, const Member& member) { return number == member.number; });
    if (isKnown) return;
    members_.clear();
    clockworks_.clear();
    lastOnline_.clear();
    turn_ = 0;
    const auto directories = frequencyDirectories(root_, numbers);
    const auto kinds = readProcessorKinds(root_, numbers);
    std::map<unsigned, std::size_t> byProcessor;
    for (std::size_t i = 0; i < numbers.size(); ++i) {
        Member member{.number = numbers[i], .kind = kinds[i], .clockwork = {}};
        discoverClockwork(member, directories.at(numbers[i]), byProcessor);
        members_.push_back(member);
    }
    if (steps_.empty()) settleSteps();
}

void ProcessorFrequencies::discoverClockwork(Member& member, const std::string& directory,
                                             std::map<unsigned, std::size_t>& byProcessor) {
    if (const auto shared = byProcessor.find(member.number); shared != byProcessor.end()) {
        member.clockwork = shared->second;
        return;
    }
    std::string current = directory + "/scaling_cur_freq";
    if (!root_.exists(current)) current = directory + "/cpuinfo_cur_freq";
    if (!root_.exists(current)) return;
    member.clockwork = clockworks_.size();
    byProcessor[member.number] = clockworks_.size();
    const std::string related = root_.text(directory + "/related_cpus").value_or("");
    std::string_view rest = related;
    while (const auto number = takeCount(rest)) byProcessor[static_cast<unsigned>(*number)] = clockworks_.size();
    const std::string times = directory + "/stats/time_in_state";
    clockworks_.push_back(
        {.directory = directory,
         .timeInState = root_.exists(times) ? std::optional<KernelFile>(root_.path(times)) : std::nullopt,
         .current = KernelFile(root_.path(current)),
         .previous = {}});
}

/// Per kind: all that its clocks list, and even steps over the range of those that list nothing.
void ProcessorFrequencies::settleSteps() {
    std::map<ProcessorKind, Range> ranges;
    std::map<std::size_t, ProcessorKind> kinds;
    readProcessorInfo();
    for (const Member& member : members_) {
        if (member.clockwork) kinds.try_emplace(*member.clockwork, member.kind);
        const auto found = infoKilohertz_.find(member.number);
        if (member.clockwork || found == infoKilohertz_.end()) continue;
        const auto most = static_cast<std::uint32_t>(found->second);
        ranges[member.kind].add(most);
        ranges[member.kind].add(most / 16);  // nothing tells how slow it may get
    }
    for (const auto& [index, kind] : kinds) {
        const std::string& directory = clockworks_[index].directory;
        const ClockSteps listed = listedSteps(root_, directory);
        steps_[kind].insert(steps_[kind].end(), listed.begin(), listed.end());
        if (!listed.empty()) continue;
        for (const char* file : {"/cpuinfo_min_freq", "/cpuinfo_max_freq"}) {
            if (const auto end = readKilohertz(root_, directory + file)) ranges[kind].add(*end);
        }
    }
    for (const auto& [kind, range] : ranges) {
        const ClockSteps even = evenSteps(range.least, range.most);
        steps_[kind].insert(steps_[kind].end(), even.begin(), even.end());
    }
    for (auto& [kind, steps] : steps_) sortUnique(steps);
}

void ProcessorFrequencies::refresh() {
    if (!reading_.isDue(clock_.monotonic())) return;
    readOnline();
    readClockworks();
}

void ProcessorFrequencies::readClockworks() {
    const bool needsInfo = std::any_of(members_.begin(), members_.end(),
                                       [](const Member& member) { return member.isOnline && !member.clockwork; });
    const std::size_t sources = clockworks_.size() + (needsInfo ? 1 : 0);
    spent_ = std::max(Seconds(0), spent_ - readingTimePerTick);
    MonotonicTime before = clock_.monotonic();
    for (std::size_t count = 0; count < sources && spent_ < readingTimePerTick; ++count) {
        if (turn_ >= sources) turn_ = 0;
        if (turn_ < clockworks_.size()) {
            readClockwork(clockworks_[turn_]);
        } else {
            readProcessorInfo();
        }
        ++turn_;
        const MonotonicTime after = clock_.monotonic();
        spent_ += after - std::exchange(before, after);
    }
}

/// The mean since the last reading, from the time spent at each frequency; the present frequency where that is not
/// told or did not change. When neither can be read the processors are offline.
void ProcessorFrequencies::readClockwork(Clockwork& clockwork) {
    std::vector<StateTime> times;
    std::string_view rest = clockwork.timeInState ? clockwork.timeInState->read().value_or("") : "";
    while (auto line = takeLine(rest)) {
        const auto step = plausible(takeCount(*line));
        const auto ticks = takeCount(*line);
        if (step && ticks) times.push_back({*step, *ticks});
    }
    const std::vector<StateTime> previous = std::exchange(clockwork.previous, times);
    double sum = 0;
    double total = 0;
    const std::size_t count = previous.size() == times.size() ? times.size() : 0;
    for (std::size_t i = 0; i < count; ++i) {
        if (times[i].kilohertz != previous[i].kilohertz || times[i].ticks < previous[i].ticks) {
            total = 0;
            break;
        }
        const auto spent = static_cast<double>(times[i].ticks - previous[i].ticks);
        total += spent;
        sum += spent * times[i].kilohertz;
    }
    clockwork.kilohertz = total > 0 ? sum / total : readKilohertz(clockwork.current).value_or(0);
}

/// "processor : 3" and, further down, "cpu MHz : 2593.498".
void ProcessorFrequencies::readProcessorInfo() {
    infoKilohertz_.clear();
    std::optional<std::uint64_t> number;
    std::string_view rest = info_.read().value_or("");
    while (auto line = takeLine(rest)) {
        if (line->size() < 9 || (line->front() != 'p' && line->front() != 'c')) continue;
        std::string_view value = *line;
        const std::string_view key = trimWhitespace(takeUntil(value, ':'));
        if (key == "processor") number = parseUnsigned(trimWhitespace(value));
        if (key != "cpu MHz" || !number || *number >= processorNumberLimit) continue;
        const double kilohertz = parseDouble(trimWhitespace(value)).value_or(0) * 1000;
        if (kilohertz >= 1 && kilohertz < plausibleKilohertz) {
            infoKilohertz_[static_cast<unsigned>(*number)] = kilohertz;
        }
    }
}

void ProcessorFrequencies::readOnline() {
    const std::string_view content = online_.read().value_or("");
    if (content == lastOnline_) return;
    lastOnline_ = content;
    const auto online = parseNumberList(trimWhitespace(content), processorNumberLimit);
    for (Member& member : members_) {
        member.isOnline = online.empty() || std::binary_search(online.begin(), online.end(), member.number);
    }
}

}  // namespace zqm
