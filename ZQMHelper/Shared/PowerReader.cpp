#include "ZQMHelper/Shared/PowerReader.h"

#include <algorithm>
#include <utility>

#include "Platform/Machine/MachineReadings.h"
#include "Support/Finite.h"

namespace zqm {
namespace {

using enum ReportOperation;

/// Millijoules per unit of the label.
double millijoules(std::string_view label) {
    if (label.starts_with("nJ")) return 1e-6;
    if (label.starts_with("uJ") || label.starts_with("\xC2\xB5J")) return 1e-3;  // the micro sign, not the Greek letter
    return 1;
}

double watts(double previousMillijoules, double currentMillijoules, double seconds) {
    return currentMillijoules >= previousMillijoules ? (currentMillijoules - previousMillijoules) / 1000 / seconds : 0;
}

/// A controller's reading as power: its −1 for "cannot be read" and anything not finite count as none.
double positive(double reading) {
    return std::isfinite(reading) ? std::max(reading, 0.0) : 0;
}

}  // namespace

void addEnergy(EnergyTotals& totals, std::string_view channel, std::string_view label, double value) {
    const double energy = value * millijoules(label);
    if (channel.ends_with("CPU Energy")) {
        totals.cpu += energy;
    } else if (channel.ends_with("GPU Energy")) {
        totals.gpu += energy;
    } else if (channel.starts_with("ANE")) {
        totals.ane += energy;
    } else if (channel.starts_with("DRAM")) {
        totals.dram += energy;
    }
}

PowerReader::PowerReader(std::shared_ptr<SMCBridge> smc, Platform& platform)
    : platform_(platform), loader_(platform), smc_(std::move(smc)), subscription_(createSubscription()) {}

ReportSubscription* PowerReader::createSubscription() {
    if (!loader_.has(copyChannelsInGroup, ReportOperation::createSubscription)) return nullptr;
    ReportLibrary& library = *loader_.library();
    const auto copied = library.copyChannelsInGroup("Energy Model", std::nullopt);
    channels_ = copied ? copied->mutableCopy() : nullptr;
    return channels_ ? library.createSubscription(*channels_) : nullptr;
}

std::optional<EnergyTotals> PowerReader::readTotals() {
    if (!platform_.readings) return readChannels();
    const EnergyReading energy = platform_.readings->energy();
    toldSystemWatts_ = energy.systemWatts.value_or(0);
    hasProcessorEnergy_ = energy.cpu.has_value();
    return EnergyTotals{.cpu = energy.cpu.value_or(0),
                        .gpu = energy.gpu.value_or(0),
                        .ane = energy.ane.value_or(0),
                        .dram = energy.dram.value_or(0),
                        .system = energy.system.value_or(0)};
}

std::optional<EnergyTotals> PowerReader::readChannels() {
    if (!loader_.isAvailable() || !subscription_) return std::nullopt;
    ReportLibrary& library = *loader_.library();
    const auto sample = library.createSamples(*subscription_, *channels_);
    const auto channels = sample ? sample->channels() : std::nullopt;
    if (!channels) return std::nullopt;
    EnergyTotals totals;
    if (!loader_.has(simpleGetIntegerValue)) return totals;
    for (const ReportChannel* channel : *channels) {
        const auto name = library.channelGetChannelName(*channel);
        if (!name) continue;
        const auto label = loader_.has(channelGetUnitLabel) ? library.channelGetUnitLabel(*channel) : std::nullopt;
        addEnergy(totals, *name, label.value_or("mJ"), static_cast<double>(library.simpleGetIntegerValue(*channel)));
    }
    return totals;
}

PowerReader::CardPower PowerReader::readCards() {
    CardPower power;
    if (!platform_.readings) return power;
    for (const GraphicsReading& card : platform_.readings->graphics()) {
        power.watts += card.watts ? *card.watts : cardWatts(card);
        power.packageWatts += card.packageWatts.value_or(0);
        if (card.isIntegrated && (card.watts || card.millijoules)) power.isIntegratedAmongThem = true;
    }
    return power;
}

/// From the growth between the last two looks at a card that counts energy.
double PowerReader::cardWatts(const GraphicsReading& card) {
    if (!card.millijoules) return 0;
    const auto [known, isNew] = cards_.try_emplace(card.name, CardEnergy{*card.millijoules, card.time});
    CardEnergy& last = known->second;
    if (card.time == last.time) return last.watts;
    const double seconds = (card.time - std::exchange(last.time, card.time)).count();
    last.watts = watts(std::exchange(last.millijoules, *card.millijoules), *card.millijoules, seconds);
    return last.watts;
}

PowerMetrics PowerReader::sample(double batteryWatts) {
    const auto totals = readTotals();
    if (!totals) return {};
    const CardPower cards = readCards();
    const Reading current{*totals, platform_.clock.monotonic()};
    const auto previous = std::exchange(previous_, current);
    const double seconds = previous ? (current.time - previous->time).count() : 0;
    if (seconds <= 0) return {};
    PowerMetrics power;
    power.cpuWatts = watts(previous->totals.cpu, totals->cpu, seconds);
    power.gpuWatts = watts(previous->totals.gpu, totals->gpu, seconds);
    power.aneWatts = watts(previous->totals.ane, totals->ane, seconds);
    power.dramWatts = watts(previous->totals.dram, totals->dram, seconds);
    if (cards.isIntegratedAmongThem) power.gpuWatts = 0;
    power.gpuWatts += cards.watts;
    if (!hasProcessorEnergy_) power.cpuWatts += cards.packageWatts;
    power.totalWatts = power.cpuWatts + power.gpuWatts + power.aneWatts + power.dramWatts;
    if (platform_.readings) {
        power.systemWatts = watts(previous->totals.system, totals->system, seconds);
        for (const double told : {toldSystemWatts_, batteryWatts}) {
            if (power.systemWatts <= 0) power.systemWatts = told;
        }
        return power;
    }
    power.systemWatts = positive(smc_->SMCPowerRead("PSTR"));
    const double display = smc_->SMCPowerRead("PBwo");
    power.displayWatts = positive(display > 0 ? display : smc_->SMCPowerRead("PDBR"));
    return power;
}

}  // namespace zqm
