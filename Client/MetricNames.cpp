#include "Client/MetricNames.h"

#include <algorithm>
#include <array>
#include <utility>

#include "ZQMHelper/Shared/Metrics.h"

namespace zqm {
namespace {

struct Exception {
    std::string_view field;
    std::string_view family = {};  // after "zqm_"; empty: by rule
    std::string_view note = {};
    std::string_view label = {};
    std::string_view labelValue = {};
};

constexpr std::array exceptions{
    Exception{"cpu.perCoreUsage", "cpu_core_usage_ratio", "Busy fraction of each logical processor."},
    Exception{"cpu.totalUsage", "cpu_usage_ratio", "Busy fraction of all processors."},
    Exception{"cpu.efficiencyFreqMHz", "cpu_frequency_hertz", "Of the cores of one kind.", "kind", "efficiency"},
    Exception{"cpu.performanceFreqMHz", "cpu_frequency_hertz", "", "kind", "performance"},
    Exception{"cpu.efficiencyMaxMHz", "cpu_max_frequency_hertz", "", "kind", "efficiency"},
    Exception{"cpu.performanceMaxMHz", "cpu_max_frequency_hertz", "", "kind", "performance"},
    Exception{"cpu.perCoreFreqMHz", "cpu_core_frequency_hertz", "Of each logical processor."},
    Exception{"memory.pressureLevel", "", "The kernel's level: 1 normal, 2 warning, 4 critical."},
    Exception{"network.uploadBytesPerSecond", "network_bytes_per_second", "", "direction", "upload"},
    Exception{"network.downloadBytesPerSecond", "network_bytes_per_second", "", "direction", "download"},
    Exception{"disk.readBytesPerSecond", "disk_bytes_per_second", "", "direction", "read"},
    Exception{"disk.writeBytesPerSecond", "disk_bytes_per_second", "", "direction", "write"},
    Exception{"battery.isPresent", "battery_present"},
    Exception{"battery.isCharging", "battery_charging"},
    Exception{"battery.health", "", "Full-charge capacity to design capacity."},
    Exception{"battery.cycleCount", "battery_cycles_total"},
    Exception{"battery.powerWatts", "", "Flow into or out of the battery, never negative."},
    Exception{"battery.adapterWatts", "", "The adapter's rating."},
    Exception{"battery.timeRemainingMinutes", "", "To full when charging, else to empty."},
    Exception{"clock.now", "clock_time_seconds", "The machine's wall clock, since 1970."},
    Exception{"power.totalWatts", "", "Processors, GPU, neural engine and memory."},
    Exception{"power.systemWatts", "", "The whole machine."},
    Exception{"load.value", "load_ratio", "How hard the machine works."},
    Exception{"timestamp", "sample_timestamp_seconds", "When the sample was taken, since 1970."},
};

/// Whether the record has a number, flag or list of numbers at `path`.
template <class Record>
constexpr bool hasField(std::string_view path) {
    bool isFound = false;
    forEachField<Record>([&]<class Value>(const Field<Record, Value>& field) {
        if constexpr (HasSchema<Value>) {
            const std::size_t size = field.name.size();
            if (!path.starts_with(field.name) || path.size() <= size || path[size] != '.') return;
            isFound = isFound || hasField<Value>(path.substr(size + 1));
        } else {
            isFound = isFound || field.name == path;
        }
    });
    return isFound;
}
static_assert(std::all_of(exceptions.begin(), exceptions.end(),
                          [](const Exception& exception) { return hasField<SystemSnapshot>(exception.field); }),
              "an exception for a field that does not exist");

/// How fields and families write a unit, and the step between the two.
struct UnitForm {
    std::string_view inField;
    std::string_view inFamily;
    double factor = 1;
};

UnitForm formOf(Unit unit) {
    switch (unit) {
        case Unit::ratio:
            return {"Fraction", "_ratio"};
        case Unit::bytes:
            return {"Bytes", "_bytes"};
        case Unit::bytesPerSecond:
            return {"BytesPerSecond", "_bytes_per_second"};
        case Unit::megahertz:
            return {"MHz", "_hertz", 1e6};
        case Unit::celsius:
            return {"C", "_celsius"};
        case Unit::watts:
            return {"Watts", "_watts"};
        case Unit::wattHours:
            return {"Wh", "_joules", 3600};
        case Unit::minutes:
            return {"Minutes", "_seconds", 60};
        case Unit::seconds:
            return {"Seconds", "_seconds"};
        case Unit::none:
        case Unit::count:
            break;
    }
    return {};
}

bool isUpper(char c) {
    return c >= 'A' && c <= 'Z';
}

/// "onACPower" as "on_ac_power".
std::string snakeCase(std::string_view name) {
    std::string words;
    for (std::size_t i = 0; i < name.size(); ++i) {
        const bool endsAcronym = i + 1 < name.size() && !isUpper(name[i + 1]);
        if (isUpper(name[i]) && i > 0 && (!isUpper(name[i - 1]) || endsAcronym)) words += '_';
        words += isUpper(name[i]) ? static_cast<char>(name[i] - 'A' + 'a') : name[i];
    }
    return words;
}

std::string nameByRule(std::string_view record, std::string_view field, const UnitForm& unit) {
    if (field.ends_with(unit.inField)) field.remove_suffix(unit.inField.size());
    std::string name;
    for (const std::string_view part : {record, field}) {
        if (!name.empty() && !part.empty()) name += '_';
        name += snakeCase(part);
    }
    name += unit.inFamily;
    return name;
}

bool isAt(std::string_view path, std::string_view record, std::string_view field) {
    if (record.empty()) return path == field;
    return path.size() == record.size() + 1 + field.size() && path.starts_with(record) && path.ends_with(field) &&
           path[record.size()] == '.';
}

}  // namespace

MetricName metricName(std::string_view record, std::string_view field, Unit unit) {
    const UnitForm form = formOf(unit);
    const auto* const found = std::find_if(exceptions.begin(), exceptions.end(),
                                           [&](const Exception& each) { return isAt(each.field, record, field); });
    const Exception exception = found == exceptions.end() ? Exception{} : *found;
    std::string family = "zqm_";
    family += exception.family.empty() ? nameByRule(record, field, form) : exception.family;
    return {std::move(family), exception.label, exception.labelValue, exception.note, form.factor};
}

}  // namespace zqm
