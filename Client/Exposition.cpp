#include "Client/Exposition.h"

#include <algorithm>
#include <array>
#include <type_traits>
#include <utility>
#include <vector>

#include "Client/MetricNames.h"
#include "Client/Units.h"
#include "Support/Text.h"

namespace zqm {
namespace {

bool hasDrives(const ExpositionContext& context) {
    return !context.machine || !context.machine->drives.empty();
}

bool hasInterfaces(const ExpositionContext& context) {
    return !context.machine || !context.machine->interfaces.empty();
}

CoreKind kindOf(const CPUMetrics& cpu, std::size_t core) {
    return core < cpu.coreKinds.size() ? cpu.coreKinds[core] : CoreKind::unknown;
}

/// The processor's number among all, of one that the sample numbers within its kind: "E0", "P3". nullopt where the
/// sample does not tell which it is: a machine with a kind in the middle, "M", counts two kinds as one.
std::optional<std::size_t> coreNumber(const CPUMetrics& cpu, std::string_view core) {
    if (core.empty() || (core[0] != 'E' && core[0] != 'P')) return std::nullopt;
    const CoreKind kind = core[0] == 'E' ? CoreKind::efficiency : CoreKind::performance;
    const auto place = parseUnsigned(core.substr(1));
    const bool hasMiddle = cpu.perCoreFreqMHz.contains("M0");
    if (!place || (hasMiddle && kind == CoreKind::performance)) return std::nullopt;
    std::uint64_t before = 0;
    for (std::size_t i = 0; i < cpu.coreKinds.size(); ++i) {
        if (cpu.coreKinds[i] == kind && before++ == *place) return i;
    }
    return std::nullopt;
}

/// Gives each figure of a snapshot to its family. One overload per kind of value, so that a field of a new type does
/// not compile until it is settled what becomes of it.
class Figures {
public:
    Figures(const SystemSnapshot& snapshot, const ExpositionContext& context, MetricFamilies& families)
        : snapshot_(snapshot), context_(context), families_(families) {}

    template <HasSchema Record>
    void add(std::string_view name, const Record& record) {
        forEachField<Record>([&](const auto& field) {
            const auto& value = record.*field.member;
            if constexpr (HasSchema<std::remove_cvref_t<decltype(value)>>) {
                add(field.name, value);
            } else {
                place(Place(name, field.name, field.unit), value);
            }
        });
    }

private:
    struct Place {
        Place(std::string_view record, std::string_view field, Unit itsUnit)
            : name(metricName(record, field, itsUnit)), unit(itsUnit) {
            if (!record.empty()) path.append(record) += '.';
            path += field;
        }
        MetricName name;
        Unit unit;
        std::string path;
    };

    void place(const Place& place, double value) { sample(place, value, {}); }
    void place(const Place& place, std::int64_t value) { sample(place, static_cast<double>(value), {}); }
    void place(const Place& place, std::uint64_t value) { sample(place, static_cast<double>(value), {}); }
    void place(const Place& place, bool value) { sample(place, value ? 1 : 0, {}); }
    void place(const Place& place, WallTime value) { sample(place, value.time_since_epoch().count(), {}); }
    void place(const Place& place, const std::vector<double>& perCore) {
        for (std::size_t i = 0; i < perCore.size(); ++i) perCoreSample(place, perCore[i], i);
    }
    void place(const Place& place, const std::map<std::string, double>& perCore) {
        for (const auto& [core, value] : perCore) {
            if (const auto number = coreNumber(snapshot_.cpu, core)) perCoreSample(place, value, *number);
        }
    }
    void place(const Place&, const std::vector<CoreKind>&) {}  // a label of the usages
    void place(const Place&, const std::string&) {}            // addresses and places

    void perCoreSample(const Place& place, double value, std::size_t core) {
        sample(place, value, {"core", std::to_string(core)}, {"kind", rawValue(kindOf(snapshot_.cpu, core))});
    }
    void sample(const Place& place, double value, Label first, Label second = {}) {
        if (!isTold(place, value)) return;
        families_.add({place.name.family, place.name.note, place.path},
                      {{place.name.label, place.name.labelValue}, first, second}, value * place.name.factor);
    }

    /// Whether the machine has what this figure is of and told it, by what its source leaves behind when it is silent.
    bool isTold(const Place& place, double value) const {
        const std::string_view path = place.path;
        if (path.starts_with("battery.") && !snapshot_.battery.isPresent) return false;
        if (path.starts_with("memory.swap")) return snapshot_.memory.swapTotalBytes > 0;
        if (path.starts_with("disk.")) return hasDrives(context_);
        if (path.starts_with("network.total")) return false;  // falls when an interface goes: no counter
        if (path.starts_with("network.")) return hasInterfaces(context_);
        if (path == "memory.pressureLevel") return value != 0;
        if (path.starts_with("gpu.") && !hasGraphics(snapshot_.gpu) && !hasCounted("gpu.utilization")) return false;
        switch (place.unit) {
            case Unit::megahertz:
            case Unit::celsius:
            case Unit::wattHours:
                return value != 0;
            case Unit::watts:
                return value != 0 || path == "battery.powerWatts" ||
                       (snapshot_.power.totalWatts > 0 && hasCounted(path));
            case Unit::minutes:
                return value >= 0;
            default:
                return value != 0 || path != "battery.health";
        }
    }
    /// A part that has worked before idles now; one that never has may not be there.
    bool hasCounted(std::string_view field) const { return context_.counters && context_.counters->hasCounted(field); }

    const SystemSnapshot& snapshot_;
    const ExpositionContext& context_;
    MetricFamilies& families_;
};

void addCounters(MetricFamilies& families, const SystemSnapshot& snapshot, const ExpositionContext& context) {
    const SampleCounters& counters = *context.counters;
    static constexpr std::string_view busyNote = "Busy time of each logical processor since the exporter started.";
    for (std::size_t core = 0; core < counters.busySeconds().size(); ++core) {
        families.add({"zqm_cpu_busy_seconds_total", busyNote, "cpu.perCoreUsage"},
                     {{"core", std::to_string(core)}, {"kind", rawValue(kindOf(snapshot.cpu, core))}},
                     counters.busySeconds()[core]);
    }
    for (std::size_t i = 0; i < summedFigures.size(); ++i) {
        const SummedFigure& figure = summedFigures[i];
        const bool isThere = figure.field.starts_with("disk.")      ? hasDrives(context)
                             : figure.field.starts_with("network.") ? hasInterfaces(context)
                                                                    : counters.sums()[i] > 0;
        MetricOrigin origin = figure.counter;
        origin.source = figure.field;
        if (isThere) families.add(origin, {figure.label}, counters.sums()[i]);
    }
}

void addRankings(MetricFamilies& families, const SnapshotReply& reply, const ExpositionContext& context) {
    struct Ranking {
        MetricOrigin origin;
        double factor = 1;
    };
    static constexpr std::array rankings{
        Ranking{
            {"zqm_process_cpu_ratio", "Processor time of the leading processes; 1 is one processor.", "processes.cpu"},
            0.01},
        Ranking{{"zqm_process_gpu_ratio",
                 "GPU utilisation of the leading processes, estimated from their processor time.", "processes.gpu"}},
        Ranking{{"zqm_process_memory_bytes", "Resident memory of the leading processes.", "processes.memory"}},
        Ranking{{"zqm_process_disk_bytes_per_second", "Drive traffic of the leading processes.", "processes.disk"}},
        Ranking{
            {"zqm_process_network_sockets", "Open internet sockets of the leading processes.", "processes.network"}},
        Ranking{{"zqm_process_power_watts", "Estimated power of the leading processes.", "processes.power"}}};
    static_assert(rankings.size() == allCases<ProcessCategory>().size());
    for (const ProcessCategory category : allCases<ProcessCategory>()) {
        const Ranking& ranking = rankings[static_cast<std::size_t>(category)];
        auto programs = summedByName(reply.ranking(category));
        if (context.names) programs = context.names->bounded(category, std::move(programs), context.now);
        for (const ProgramFigure& program : programs) {
            families.add(ranking.origin, {{"name", program.name}}, program.value * ranking.factor);
        }
    }
}

void addMachine(MetricFamilies& families, const MachineFigures& machine) {
    const MachineFacts& facts = machine.facts;
    families.add({"zqm_machine_info", "The operating system, and what the makers call machine and processor."},
                 {{"system", facts.system}, {"model", facts.model}, {"processor", facts.processor}}, 1);
    if (machine.bootTime) {
        families.add({"zqm_boot_time_seconds", "When the machine started, since 1970."}, {},
                     machine.bootTime->time_since_epoch().count());
    }
    static constexpr std::array periods{"1m", "5m", "15m"};
    for (std::size_t i = 0; facts.loadAverages && i < periods.size(); ++i) {
        families.add({"zqm_load_average", "Processes that run or wait to, on average over the period."},
                     {{"period", periods[i]}}, (*facts.loadAverages)[i]);
    }
    for (const FileSystem& system : facts.fileSystems) {
        families.add({"zqm_filesystem_size_bytes", "File systems on drives."}, {{"mountpoint", system.mountPoint}},
                     static_cast<double>(system.total));
        families.add({"zqm_filesystem_avail_bytes", "What ordinary users may still write."},
                     {{"mountpoint", system.mountPoint}}, static_cast<double>(system.available));
    }
    for (const SensorFigure& sensor : facts.temperatures) {
        families.add({"zqm_sensor_celsius", "Every sensor of temperatures by its name."}, {{"sensor", sensor.name}},
                     sensor.value);
    }
    for (const SensorFigure& fan : facts.fans) {
        families.add({"zqm_fan_rpm", "Turns per minute."}, {{"fan", fan.name}}, fan.value);
    }
    for (const DriveReading& drive : machine.drives) {
        const MetricOrigin origin{"zqm_drive_bytes_total", "Counted by the machine, by drive."};
        families.add(origin, {{"drive", drive.name}, {"direction", "read"}}, static_cast<double>(drive.read));
        families.add(origin, {{"drive", drive.name}, {"direction", "write"}}, static_cast<double>(drive.written));
    }
    for (const InterfaceReading& link : machine.interfaces) {
        const MetricOrigin origin{"zqm_interface_bytes_total", "Counted by the machine, by network interface."};
        families.add(origin, {{"interface", link.name}, {"direction", "upload"}}, static_cast<double>(link.sent));
        families.add(origin, {{"interface", link.name}, {"direction", "download"}}, static_cast<double>(link.received));
    }
}

}  // namespace

std::string exposition(const HelperAnswer& answer, const ExpositionContext& context, MetricsFormat format) {
    MetricFamilies families;
    const auto* const reply = std::get_if<SnapshotReply>(&answer);
    families.add({"zqm_up", "Whether the helper answered with a sample of now."}, {}, reply ? 1 : 0);
    if (reply) {
        families.add({"zqm_build_info", "The program that exports this."}, {{"version", ZQM_VERSION}}, 1);
        Figures(reply->snapshot, context, families).add({}, reply->snapshot);
        if (context.counters) addCounters(families, reply->snapshot, context);
        addRankings(families, *reply, context);
        if (context.machine) addMachine(families, *context.machine);
    }
    return families.text(format);
}

}  // namespace zqm
