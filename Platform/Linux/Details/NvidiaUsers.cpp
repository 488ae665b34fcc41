#include "Platform/Linux/Details/NvidiaUsers.h"

#include <algorithm>
#include <array>

namespace zqm {
namespace {

const std::string driver = "/sys/bus/pci/drivers/nvidia";

EngineUse& engineOf(std::vector<EngineUse>& engines, const std::string& name) {
    const auto known =
        std::find_if(engines.begin(), engines.end(), [&](const EngineUse& use) { return use.engine == name; });
    return known != engines.end() ? *known : engines.emplace_back(EngineUse{.engine = name, .busy = 0, .passed = 0});
}

}  // namespace

const std::map<std::int32_t, std::vector<EngineUse>>& NvidiaUsers::read() {
    const MonotonicTime now = clock_.monotonic();
    if (!lastTime_) {
        for (const std::string& name : root_.names(driver, "")) {
            if (name.find(':') == std::string::npos) continue;
            cards_.push_back({.address = name, .sleep = CardSleep(root_, driver + "/" + name, name)});
        }
    }
    const double seconds = lastTime_ ? (now - *lastTime_).count() : 0;
    lastTime_ = now;
    for (auto& [pid, engines] : users_) {
        for (EngineUse& engine : engines) engine.passed += seconds;
    }
    bool isAnyAsked = false;
    for (Card& card : cards_) {
        if (card.sleep.state(now) != CardSleep::State::awake) continue;
        const bool isBusy = library_.read(card.address).busyPercent.value_or(0) > 0;
        add(card, seconds);
        isAnyAsked = card.sleep.looked(isBusy, now) == CardSleep::State::awake || isAnyAsked;
    }
    if (!isAnyAsked) library_.close();
    return users_;
}

void NvidiaUsers::add(Card& card, double seconds) {
    for (const NvidiaProcess& process : library_.processes(card.address, card.latestMicroseconds)) {
        card.latestMicroseconds = std::max(card.latestMicroseconds, process.microseconds);
        const std::array shares{std::pair("cores", process.corePercent), std::pair("encoder", process.encoderPercent),
                                std::pair("decoder", process.decoderPercent)};
        std::vector<EngineUse>& engines = users_[process.pid];
        for (const auto& [name, percent] : shares) {
            EngineUse& use = engineOf(engines, card.address + "/" + name);
            if (use.passed == 0) use.passed = seconds;
            use.busy += std::min(percent, 100u) / 100.0 * seconds;
        }
    }
}

}  // namespace zqm
