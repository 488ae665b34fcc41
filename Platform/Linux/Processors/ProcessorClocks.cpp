#include "Platform/Linux/Processors/ProcessorClocks.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "Platform/Linux/Kernel/KernelText.h"
#include "Support/Text.h"

namespace zqm {
namespace {

constexpr Seconds readingTimePerTick(0.02);
constexpr double kilohertzPerMegahertz = 1000;
constexpr double plausibleMegahertz = 100'000;

std::optional<std::uint32_t> plausible(std::optional<std::uint64_t> kilohertz) {
    constexpr auto most = static_cast<std::uint64_t>(plausibleMegahertz * kilohertzPerMegahertz);
    if (!kilohertz || *kilohertz == 0 || *kilohertz >= most) return std::nullopt;
    return static_cast<std::uint32_t>(*kilohertz);
}

/// The whole of a file that holds one number.
std::optional<std::uint32_t> readKilohertz(KernelFile& file) {
    std::string_view rest = file.read().value_or("");
    auto line = takeLine(rest);
    return line ? plausible(takeCount(*line)) : std::nullopt;
}

/// The largest of the numbers in `words`, and `most`.
std::uint32_t largest(std::uint32_t most, std::string_view words) {
    for (std::string_view word = takeWord(words); !word.empty(); word = takeWord(words)) {
        most = std::max(most, plausible(parseUnsigned(word)).value_or(0));
    }
    return most;
}

/// The highest frequency that the clock's driver tells, with the boost steps that some list apart.
double mostMegahertz(const RootDirectory& root, const std::string& directory) {
    std::uint32_t most = plausible(root.number(directory + "/cpuinfo_max_freq")).value_or(0);
    for (const char* list : {"/scaling_available_frequencies", "/scaling_boost_frequencies"}) {
        most = largest(most, root.text(directory + list).value_or(""));
    }
    return most / kilohertzPerMegahertz;
}

}  // namespace

ProcessorClocks::ProcessorClocks(const RootDirectory& root, Processors& processors, Clock& clock)
    : root_(root),
      processors_(processors),
      clock_(clock),
      info_(root.path("/proc/cpuinfo")),
      online_(root.path("/sys/devices/system/cpu/online")) {}

std::vector<ProcessorClock> ProcessorClocks::read() {
    discover();
    readOnline();
    readInTurn();
    std::vector<ProcessorClock> clocks;
    clocks.reserve(members_.size());
    bool isAnyTold = false;
    for (const Member& member : members_) {
        const Policy* policy = member.policy ? &policies_[*member.policy] : nullptr;
        const double megahertz = policy && isTold(*policy) ? policy->megahertz : member.infoMegahertz;
        clocks.push_back({.kind = member.kind,
                          .megahertz = member.isOnline ? megahertz : 0,
                          .mostMegahertz = policy ? policy->mostMegahertz : 0});
        isAnyTold = isAnyTold || policy || member.infoMegahertz > 0;
    }
    if (!isAnyTold) clocks.clear();
    return clocks;
}

/// Which processors there are and which of them share a clock changes when processors come and go.
void ProcessorClocks::discover() {
    if (!discovery_.isDue(clock_.monotonic())) return;
    const std::vector<unsigned> numbers = processors_.numbers();
    const bool isKnown = std::equal(numbers.begin(), numbers.end(), members_.begin(), members_.end(),
                                    [](unsigned number, const Member& member) { return number == member.number; });
    if (isKnown) return;
    members_.clear();
    policies_.clear();
    lastOnline_.clear();
    turn_ = 0;
    isMeasured_ = root_.text("/proc/cpuinfo").value_or("").find(" aperfmperf") != std::string::npos;
    const auto directories = frequencyDirectories(root_, numbers);
    const auto kinds = readProcessorKinds(root_, numbers);
    std::map<unsigned, std::size_t> byProcessor;
    for (std::size_t i = 0; i < numbers.size(); ++i) {
        Member member{.number = numbers[i], .kind = kinds[i], .policy = {}};
        discoverPolicy(member, directories.at(numbers[i]), byProcessor);
        members_.push_back(member);
    }
}

void ProcessorClocks::discoverPolicy(Member& member, const std::string& directory,
                                     std::map<unsigned, std::size_t>& byProcessor) {
    if (const auto shared = byProcessor.find(member.number); shared != byProcessor.end()) {
        member.policy = shared->second;
        return;
    }
    std::string current = directory + "/scaling_cur_freq";
    if (!root_.exists(current)) current = directory + "/cpuinfo_cur_freq";
    const bool isTold = root_.exists(current);
    if (!isTold && !root_.exists(directory + "/cpuinfo_max_freq")) return;
    member.policy = policies_.size();
    byProcessor[member.number] = policies_.size();
    const std::string related = root_.text(directory + "/related_cpus").value_or("");
    std::string_view rest = related;
    while (const auto number = takeCount(rest)) byProcessor[static_cast<unsigned>(*number)] = policies_.size();
    const std::string times = directory + "/stats/time_in_state";
    const bool hasTimes = root_.exists(times) && !(isMeasured_ && isTold);
    policies_.push_back({.timeInState = hasTimes ? std::optional<KernelFile>(root_.path(times)) : std::nullopt,
                         .current = isTold ? std::optional<KernelFile>(root_.path(current)) : std::nullopt,
                         .times = {},
                         .mostMegahertz = mostMegahertz(root_, directory)});
}

void ProcessorClocks::readInTurn() {
    const bool needsInfo = std::any_of(members_.begin(), members_.end(), [this](const Member& member) {
        return member.isOnline && !(member.policy && isTold(policies_[*member.policy]));
    });
    const std::size_t sources = policies_.size() + (needsInfo ? 1 : 0);
    spent_ = std::max(Seconds(0), spent_ - readingTimePerTick);
    MonotonicTime before = clock_.monotonic();
    for (std::size_t count = 0; count < sources && spent_ < readingTimePerTick; ++count) {
        if (turn_ >= sources) turn_ = 0;
        if (turn_ < policies_.size()) {
            readPolicy(policies_[turn_]);
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
void ProcessorClocks::readPolicy(Policy& policy) {
    double sum = 0;
    double total = 0;
    bool isComparable = true;
    std::size_t place = 0;
    std::string_view rest = policy.timeInState ? policy.timeInState->read().value_or("") : "";
    while (auto line = takeLine(rest)) {
        const auto step = plausible(takeCount(*line));
        const auto ticks = takeCount(*line);
        if (!step || !ticks) continue;
        if (place == policy.times.size()) policy.times.push_back({*step, std::numeric_limits<std::uint64_t>::max()});
        const StateTime before = std::exchange(policy.times[place++], StateTime{*step, *ticks});
        isComparable = isComparable && before.kilohertz == *step && before.ticks <= *ticks;
        const auto spent = static_cast<double>(*ticks - before.ticks);
        total += spent;
        sum += spent * *step;
        policy.mostMegahertz = std::max(policy.mostMegahertz, *step / kilohertzPerMegahertz);
    }
    isComparable = isComparable && place == policy.times.size();
    policy.times.resize(place);
    const auto present = [&] { return policy.current ? readKilohertz(*policy.current).value_or(0) : 0; };
    const double kilohertz = isComparable && total > 0 ? sum / total : present();
    policy.megahertz = kilohertz / kilohertzPerMegahertz;
}

/// "processor : 3" and, further down, "cpu MHz : 2593.498"; "CPU MHz" and "clock : 2926.000000MHz" on other processors.
void ProcessorClocks::readProcessorInfo() {
    for (Member& member : members_) member.infoMegahertz = 0;
    Member* member = nullptr;
    std::string_view rest = info_.read().value_or("");
    while (auto line = takeLine(rest)) {
        std::string_view value = *line;
        if (value.starts_with("processor")) {
            takeUntil(value, ':');
            const auto number = takeCount(value);
            member = number ? find(*number) : nullptr;
        } else if (member &&
                   (value.starts_with("cpu MHz") || value.starts_with("CPU MHz") || value.starts_with("clock"))) {
            takeUntil(value, ':');
            std::string_view word = takeWord(value);
            if (word.ends_with("MHz")) word.remove_suffix(3);
            const double megahertz = parseDouble(word).value_or(0);
            if (megahertz >= 1 && megahertz < plausibleMegahertz) member->infoMegahertz = megahertz;
        }
    }
}

void ProcessorClocks::readOnline() {
    const std::string_view content = online_.read().value_or("");
    if (content == lastOnline_) return;
    lastOnline_ = content;
    const auto online = parseNumberList(trimWhitespace(content), processorNumberLimit);
    for (Member& member : members_) {
        member.isOnline = online.empty() || std::binary_search(online.begin(), online.end(), member.number);
    }
}

ProcessorClocks::Member* ProcessorClocks::find(std::uint64_t number) {
    const auto found =
        std::lower_bound(members_.begin(), members_.end(), number,
                         [](const Member& member, std::uint64_t wanted) { return member.number < wanted; });
    return found != members_.end() && found->number == number ? &*found : nullptr;
}

SourceDescription ProcessorClocks::describe() {
    discover();
    if (policies_.empty()) return root_.describe(info_);
    const Policy& first = policies_.front();
    if (!isTold(first)) return root_.describe(info_);
    return root_.describe(first.timeInState ? *first.timeInState : *first.current);
}

}  // namespace zqm
