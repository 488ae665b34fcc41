#include "Platform/Linux/Hardware/Batteries.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cmath>
#include <map>

#include "Platform/Linux/Kernel/KernelText.h"
#include "Support/Text.h"

namespace zqm {
namespace {

const std::string supplyDirectory = "/sys/class/power_supply";
constexpr std::string_view keyPrefix = "POWER_SUPPLY_";

/// The files of a supply that are read, where it has them.
constexpr std::array fileNames{"status",
                               "present",
                               "online",
                               "capacity",
                               "cycle_count",
                               "voltage_now",
                               "voltage_max",
                               "voltage_min_design",
                               "current_now",
                               "current_max",
                               "power_now",
                               "energy_now",
                               "energy_full",
                               "energy_full_design",
                               "charge_now",
                               "charge_full",
                               "charge_full_design",
                               "time_to_empty_now",
                               "time_to_full_now"};

// The kernel counts in millionths. What lies above these is no battery's.
constexpr double mostVolts = 1000;
constexpr double mostAmperes = 1000;
constexpr double mostWatts = 10'000;
constexpr double mostWattHours = 100'000;

/// What "uevent" calls the value of a file: "POWER_SUPPLY_ENERGY_NOW".
std::string propertyName(std::string_view file) {
    std::string name(keyPrefix);
    for (const char c : file) name += static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    return name;
}

class Properties {
public:
    explicit Properties(std::string_view text) {
        while (auto line = takeLine(text)) {
            std::string_view value = *line;
            const std::string_view key = takeUntil(value, '=');
            if (key.starts_with(keyPrefix)) values_.emplace(key.substr(keyPrefix.size()), trimWhitespace(value));
        }
    }
    std::string_view text(std::string_view key) const {
        const auto found = values_.find(key);
        return found == values_.end() ? std::string_view() : found->second;
    }
    /// Of either sign: some drivers count what flows out as negative.
    std::optional<double> amount(std::string_view key, double most) const {
        const auto millionths = parseInteger(text(key));
        if (!millionths) return std::nullopt;
        const double value = static_cast<double>(*millionths) / 1e6;
        return std::abs(value) <= most ? std::optional(value) : std::nullopt;
    }
    std::optional<double> positive(std::string_view key, double most) const {
        const auto value = amount(key, most);
        return value && *value > 0 ? value : std::nullopt;
    }

private:
    std::map<std::string_view, std::string_view> values_;
};

BatteryStatus parseStatus(std::string_view status) {
    if (status == "Charging") return BatteryStatus::charging;
    if (status == "Discharging") return BatteryStatus::discharging;
    return status == "Full" || status == "Not charging" ? BatteryStatus::idle : BatteryStatus::unknown;
}

std::optional<double> ratio(std::optional<double> part, std::optional<double> whole) {
    return part && whole ? std::optional(*part / *whole) : std::nullopt;
}

constexpr double minutesPerWeek = 7 * 24 * 60;  // what takes longer is not known

std::optional<std::int64_t> minutesOfSeconds(std::string_view text) {
    const auto minutes = static_cast<double>(parseInteger(text).value_or(0)) / 60;
    if (!(minutes > 0 && minutes < minutesPerWeek)) return std::nullopt;
    return static_cast<std::int64_t>(std::llround(minutes));
}

std::optional<double> product(std::optional<double> left, std::optional<double> right) {
    return left && right ? std::optional(*left * *right) : std::nullopt;
}

/// Energies as they are told, or charges at the present voltage.
void readCapacities(const Properties& properties, BatteryFacts& battery) {
    std::optional<double> level;  // needs no voltage
    battery.full = properties.positive("ENERGY_FULL", mostWattHours);
    if (battery.full) {
        battery.charge = properties.amount("ENERGY_NOW", mostWattHours);
        battery.design = properties.positive("ENERGY_FULL_DESIGN", mostWattHours);
    } else {
        battery.fullAmpereHours = properties.positive("CHARGE_FULL", mostWattHours);
        battery.designAmpereHours = properties.positive("CHARGE_FULL_DESIGN", mostWattHours);
        battery.full = product(battery.fullAmpereHours, battery.volts);
        battery.design = product(battery.designAmpereHours, battery.volts);
        const auto charge = properties.amount("CHARGE_NOW", mostWattHours);
        battery.charge = product(charge, battery.volts);
        level = ratio(charge, battery.fullAmpereHours);
    }
    const auto percent = parseInteger(properties.text("CAPACITY"));
    if (percent && *percent >= 0) battery.level = std::min(static_cast<double>(*percent) / 100, 1.0);
    if (battery.charge && battery.full) level = ratio(battery.charge, battery.full);
    if (level) battery.level = std::clamp(*level, 0.0, 1.0);
}

template <class Member>
std::optional<double> sum(const std::vector<BatteryFacts>& batteries, Member member) {
    std::optional<double> total;
    for (const BatteryFacts& battery : batteries) {
        if (battery.*member) total = total.value_or(0) + *(battery.*member);
    }
    return total;
}

template <class Member>
bool allTell(const std::vector<BatteryFacts>& batteries, Member member) {
    return std::all_of(batteries.begin(), batteries.end(),
                       [member](const BatteryFacts& battery) { return (battery.*member).has_value(); });
}

template <class Member>
std::optional<double> mean(const std::vector<BatteryFacts>& batteries, Member member) {
    const auto count = std::count_if(batteries.begin(), batteries.end(),
                                     [member](const BatteryFacts& battery) { return (battery.*member).has_value(); });
    const auto total = sum(batteries, member);
    return total ? std::optional(*total / static_cast<double>(count)) : std::nullopt;
}

/// Where one battery charges another, the balance decides.
BatteryStatus combinedStatus(const std::vector<BatteryFacts>& batteries, double watts) {
    using enum BatteryStatus;
    const auto any = [&](BatteryStatus status) {
        return std::any_of(batteries.begin(), batteries.end(),
                           [status](const BatteryFacts& battery) { return battery.status == status; });
    };
    if (any(charging) && any(discharging)) return watts > 0 ? charging : discharging;
    for (const BatteryStatus status : {charging, discharging, idle}) {
        if (any(status)) return status;
    }
    return unknown;
}

/// Energies need a voltage where a battery counts charge; the ratio does not.
std::optional<double> health(const BatteryFacts& battery) {
    const auto ofEnergies = ratio(battery.full, battery.design);
    return ofEnergies ? ofEnergies : ratio(battery.fullAmpereHours, battery.designAmpereHours);
}

/// Whether the supply is an adapter: it says whether it is online.
bool addAdapter(const Properties& properties, PowerSupplyReading& supply) {
    const std::string_view online = properties.text("ONLINE");
    if (online.empty() || online == "0") return !online.empty();
    supply.isOnMains = true;
    const auto watts =
        product(properties.positive("VOLTAGE_MAX", mostVolts), properties.positive("CURRENT_MAX", mostAmperes));
    if (watts && *watts <= mostWatts) supply.adapterWatts = std::max(supply.adapterWatts.value_or(0), *watts);
    return true;
}

}  // namespace

std::optional<BatteryFacts> parseBattery(std::string_view text) {
    const Properties properties(text);
    if (properties.text("PRESENT") == "0") return std::nullopt;
    BatteryFacts battery;
    battery.status = parseStatus(properties.text("STATUS"));
    battery.volts = properties.positive("VOLTAGE_NOW", mostVolts);
    if (!battery.volts) battery.volts = properties.positive("VOLTAGE_MIN_DESIGN", mostVolts);
    readCapacities(properties, battery);
    auto watts = properties.amount("POWER_NOW", mostWatts);
    if (!watts) watts = product(properties.amount("CURRENT_NOW", mostAmperes), battery.volts);
    // Drivers do not agree on the sign, but their status says which way it flows.
    if (watts) battery.watts = battery.status == BatteryStatus::discharging ? -std::abs(*watts) : std::abs(*watts);
    const bool isCharging = battery.status == BatteryStatus::charging;
    battery.toldMinutes = minutesOfSeconds(properties.text(isCharging ? "TIME_TO_FULL_NOW" : "TIME_TO_EMPTY_NOW"));
    battery.cycles = std::max(parseInteger(properties.text("CYCLE_COUNT")).value_or(0), std::int64_t{0});
    return battery;
}

BatteryFacts combine(const std::vector<BatteryFacts>& batteries) {
    if (batteries.size() == 1) return batteries.front();
    BatteryFacts all;
    all.charge = sum(batteries, &BatteryFacts::charge);
    all.full = sum(batteries, &BatteryFacts::full);
    if (allTell(batteries, &BatteryFacts::design)) all.design = sum(batteries, &BatteryFacts::design);
    const bool hasEnergies = allTell(batteries, &BatteryFacts::charge) && allTell(batteries, &BatteryFacts::full);
    all.level = hasEnergies && *all.full > 0 ? std::optional(std::clamp(*all.charge / *all.full, 0.0, 1.0))
                                             : mean(batteries, &BatteryFacts::level);
    all.volts = mean(batteries, &BatteryFacts::volts);
    all.watts = sum(batteries, &BatteryFacts::watts);
    all.status = combinedStatus(batteries, all.watts.value_or(0));
    for (const BatteryFacts& battery : batteries) all.cycles = std::max(all.cycles, battery.cycles);
    return all;
}

std::optional<std::int64_t> minutesLeft(const BatteryFacts& battery) {
    const bool isMoving = battery.status == BatteryStatus::charging || battery.status == BatteryStatus::discharging;
    if (!battery.watts || !battery.charge || !battery.full) return isMoving ? battery.toldMinutes : std::nullopt;
    double energy = 0;  // that has yet to flow
    if (battery.status == BatteryStatus::charging) energy = *battery.full - *battery.charge;
    if (battery.status == BatteryStatus::discharging) energy = *battery.charge;
    const double minutes = energy * 60 / std::abs(*battery.watts);  // not finite without power
    if (!(minutes > 0 && minutes < minutesPerWeek)) return std::nullopt;
    return static_cast<std::int64_t>(std::llround(minutes));
}

void Batteries::discover() {
    if (!discovery_.isDue(clock_.monotonic())) return;
    std::vector<std::string> names = root_.names(supplyDirectory, "");
    if (names == names_) return;
    names_ = std::move(names);
    supplies_.clear();
    for (const std::string& name : names_) {
        const std::string directory = supplyDirectory + "/" + name;
        const std::string type = root_.text(directory + "/type").value_or("");
        if (type.empty() || type == "UPS" || root_.text(directory + "/scope") == "Device") continue;
        Supply supply{.directory = directory,
                      .isBattery = type == "Battery",
                      .files = {},
                      .summary = KernelFile(root_.path(directory + "/uevent"))};
        for (const std::string_view file : fileNames) {
            const std::string path = directory + "/" + std::string(file);
            if (root_.exists(path)) supply.files.emplace_back(propertyName(file), KernelFile(root_.path(path)));
        }
        supplies_.push_back(std::move(supply));
    }
}

PowerSupplyReading Batteries::read() {
    discover();
    PowerSupplyReading supply;
    std::vector<BatteryFacts> batteries;
    bool hasAdapter = false;
    for (Supply& each : supplies_) {
        const std::string text = propertiesOf(each);
        if (text.empty()) {
            names_.clear();  // gone, or something else in its place: look again
        } else if (each.isBattery) {
            if (auto battery = parseBattery(text)) batteries.push_back(std::move(*battery));
        } else {
            hasAdapter = addAdapter(Properties(text), supply) || hasAdapter;
        }
    }
    if (batteries.empty()) return supply;
    const BatteryFacts battery = combine(batteries);
    // What charges comes from outside, even where no adapter is listed; a full battery is believed only then.
    if (battery.status == BatteryStatus::charging || (battery.status == BatteryStatus::idle && !hasAdapter)) {
        supply.isOnMains = true;
    }
    supply.battery = BatteryReading{.isCharging = battery.status == BatteryStatus::charging,
                                    .isDischarging = battery.status == BatteryStatus::discharging,
                                    .level = battery.level,
                                    .health = health(battery),
                                    .full = battery.full,
                                    .design = battery.design,
                                    .watts = battery.watts,
                                    .minutes = minutesLeft(battery),
                                    .cycles = battery.cycles};
    return supply;
}

std::string Batteries::propertiesOf(Supply& supply) {
    std::string text;
    for (auto& [name, file] : supply.files) {
        const std::string_view value = file.read().value_or("");
        if (value.ends_with('\n')) text += name + "=" + std::string(value);
    }
    return text.empty() ? std::string(supply.summary.read().value_or("")) : text;
}

SourceDescription Batteries::describe(MetricFamily family) {
    discover();
    const bool isBattery = family != MetricFamily::adapter;
    const auto found = std::find_if(supplies_.begin(), supplies_.end(),
                                    [&](const Supply& supply) { return supply.isBattery == isBattery; });
    if (found == supplies_.end()) {
        return {supplyDirectory + "/*/type (" + (isBattery ? "Battery" : "Mains, USB") + ")", "no such supply"};
    }
    return root_.describe(found->directory + "/uevent");
}

}  // namespace zqm
