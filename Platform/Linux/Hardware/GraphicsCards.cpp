#include "Platform/Linux/Hardware/GraphicsCards.h"

#include <algorithm>
#include <utility>

#include "Support/Text.h"

namespace zqm {
namespace {

const std::string cardDirectory = "/sys/class/drm";
const std::string chipDirectory = "/sys/class/devfreq";
const std::string nvidiaDirectory = "/sys/bus/pci/drivers/nvidia";

/// "card0", but not its connector "card0-DP-1".
bool isCardName(std::string_view name) {
    return parseUnsigned(name.substr(4)).has_value();
}

/// Whether a reading shows work; one that does not tell its use shows none.
bool isBusy(const GraphicsReading& reading) {
    const bool hasEngines = !reading.idleSeconds.empty();  // which stand still while they rest
    return reading.busy.value_or(hasEngines ? reading.megahertz.value_or(0) : 0) > 0;
}

}  // namespace

GraphicsCards::GraphicsCards(const RootDirectory& root, Clock& clock, std::string nvidiaLibrary)
    : root_(root), clock_(clock), nvidia_(std::move(nvidiaLibrary)) {}

std::vector<GraphicsReading> GraphicsCards::read() {
    MutexLock lock(mutex_);
    const MonotonicTime now = clock_.monotonic();
    if (!reading_.isDue(now)) return readings_;
    discover();
    readings_.clear();
    bool isNvidiaAwake = false;
    for (Card& card : cards_) {
        const CardSleep::State state = readCard(card, now);
        isNvidiaAwake = isNvidiaAwake || (!card.display && state == CardSleep::State::awake);
        readings_.push_back(card.last);
    }
    if (!isNvidiaAwake) nvidia_.close();
    for (DevfreqGraphics& chip : chips_) {
        readings_.push_back(chip.read());
        readings_.back().time = now;
    }
    return readings_;
}

/// Everything is made anew when a card, or a sensor chip of one, has come or gone.
void GraphicsCards::discover() {
    if (!discovery_.isDue(clock_.monotonic())) return;
    std::vector<std::string> cards = root_.names(cardDirectory, "card");
    std::vector<std::string> addresses = root_.names(nvidiaDirectory, "");
    std::vector<std::string> chips = root_.names(chipDirectory, "");
    std::erase_if(cards, [](const std::string& name) { return !isCardName(name); });
    std::erase_if(addresses, [](const std::string& name) { return name.find(':') == std::string::npos; });
    std::erase_if(chips, [](const std::string& name) { return !DevfreqGraphics::isGraphics(name); });
    for (const std::string& address : addresses) {  // NVIDIA's driver shows them here, too, but tells nothing there
        for (const std::string& name : root_.names(nvidiaDirectory + "/" + address + "/drm", "card")) {
            std::erase(cards, name);
        }
    }
    std::vector<std::string> names;
    const auto note = [&](const std::vector<std::string>& list) {
        names.insert(names.end(), list.begin(), list.end());
    };
    for (const auto* list : {&cards, &addresses, &chips}) note(*list);
    for (const std::string& card : cards) note(root_.names(cardDirectory + "/" + card + "/device/hwmon", "hwmon"));
    if (names == names_) return;
    names_ = names;
    cards_.clear();
    chips_.clear();
    addCards(cards, addresses);
    for (const std::string& name : chips) chips_.emplace_back(root_, name);
}

void GraphicsCards::addCards(const std::vector<std::string>& names, const std::vector<std::string>& addresses) {
    for (const std::string& name : names) {
        cards_.push_back({.name = name,
                          .sleep = CardSleep(root_, cardDirectory + "/" + name + "/device", name),
                          .display = DisplayCard(root_, name)});
    }
    for (const std::string& address : addresses) {
        const std::string device = nvidiaDirectory + "/" + address;
        const std::vector<std::string> drmNames = root_.names(device + "/drm", "card");
        cards_.push_back({.name = address,
                          .sleep = CardSleep(root_, device, drmNames.empty() ? address : drmNames.front()),
                          .display = {}});
    }
}

/// Whether the card may be asked again the next time.
CardSleep::State GraphicsCards::readCard(Card& card, MonotonicTime now) {
    CardSleep::State state = card.sleep.state(now);
    if (state == CardSleep::State::resting) return state;
    GraphicsReading reading;
    if (state == CardSleep::State::awake) {
        reading = card.display ? card.display->read(now) : readNvidia(card);
        state = card.sleep.looked(isBusy(reading), now);
    } else if (card.display) {
        reading = card.display->readAsleep();
    } else {
        reading.busy = 0;
        reading.mostMegahertz = card.last.mostMegahertz;
    }
    reading.name = card.name;
    reading.time = now;
    card.last = std::move(reading);
    return state;
}

GraphicsReading GraphicsCards::readNvidia(const Card& card) {
    const NvidiaReading told = nvidia_.read(card.name);
    GraphicsReading reading;
    if (told.busyPercent) reading.busy = *told.busyPercent / 100;
    reading.megahertz = told.megahertz;
    reading.mostMegahertz = card.last.mostMegahertz ? card.last.mostMegahertz : nvidia_.mostMegahertz(card.name);
    reading.celsius = told.celsius;
    reading.watts = told.watts;
    return reading;
}

std::optional<SourceDescription> GraphicsCards::describe(MetricFamily family) {
    MutexLock lock(mutex_);
    discover();
    std::optional<SourceDescription> awake, failed, asleep;
    std::string remark;
    for (Card& card : cards_) {
        const CardSleep::State state = card.sleep.state(clock_.monotonic());
        auto source = describe(card, family, state);
        if (!source) continue;
        const bool isAwake = state == CardSleep::State::awake;
        auto& place = !isAwake ? asleep : source->absence.empty() ? awake : failed;
        if (!place) place = std::move(source);
        if (isAwake) continue;
        remark += (remark.empty() ? "" : ", ") + card.name;
        remark += state == CardSleep::State::asleep ? " asleep" : " left alone to fall asleep";
    }
    for (const DevfreqGraphics& chip : chips_) {
        const KernelFile* file = chip.file(family);
        if (file && !awake) awake = root_.describe(*file);
    }
    auto source = awake ? awake : asleep ? asleep : failed;
    if (source) source->remark = remark;
    return source;
}

std::optional<SourceDescription> GraphicsCards::describe(const Card& card, MetricFamily family,
                                                         CardSleep::State state) {
    const bool isAwake = state == CardSleep::State::awake;
    if (!card.display) {
        if (family == MetricFamily::cpuPower) return std::nullopt;
        return SourceDescription{"libnvidia-ml.so.1 for " + card.name,
                                 isAwake && !nvidia_.isOpen() ? "not there, or without an answer" : ""};
    }
    const KernelFile* file = card.display->file(family);
    if (!file) return std::nullopt;
    return isAwake ? root_.describe(*file) : SourceDescription{root_.place(*file), ""};
}

}  // namespace zqm
