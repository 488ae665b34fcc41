#include "Client/Exposition.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <initializer_list>
#include <type_traits>
#include <utility>
#include <vector>

#include "Client/MetricNames.h"
#include "Client/Terminal.h"
#include "Support/Decimal.h"

namespace zqm {
namespace {

struct Label {
    std::string_view name;
    std::string_view value;
};

/// A label's value as the format wants it. A line feed has an escape there; other control characters have none and
/// could end a parser or move a cursor.
std::string escaped(std::string_view text) {
    std::string result;
    for (;;) {
        const std::size_t end = text.find('\n');
        for (const char c : printable(text.substr(0, end))) {
            if (c == '\\' || c == '"') result += '\\';
            result += c;
        }
        if (end == std::string_view::npos) return result;
        result += "\\n";
        text.remove_prefix(end + 1);
    }
}

void appendNumber(std::string& out, double value) {
    appendDecimal(out, value);
    if (out.ends_with(".0")) out.resize(out.size() - 2);
}

/// What a figure belongs to: its family, a sentence about that, and where in the snapshot it stands.
struct Origin {
    std::string_view family;
    std::string_view note;
    std::string_view source;
};

/// The families in the order of their first sample: the format wants all samples of one together, whichever fields they
/// come from.
class Families {
public:
    void add(const Origin& origin, std::initializer_list<Label> labels, double value) {
        if (!std::isfinite(value)) return;
        const std::string_view family = origin.family;
        std::string& samples = familyOf(origin).samples;
        samples += family;
        char separator = '{';
        for (const Label& label : labels) {
            if (label.name.empty()) continue;
            samples += std::exchange(separator, ',');
            samples += label.name;
            samples += "=\"";
            samples += escaped(label.value);
            samples += '"';
        }
        if (separator == ',') samples += '}';
        samples += ' ';
        appendNumber(samples, value);
        samples += '\n';
    }

    std::string text() const {
        std::string text;
        text.reserve(16384);
        for (const Family& family : families_) {
            const std::string_view type = family.name.ends_with("_total") ? "counter" : "gauge";
            for (const std::string_view part :
                 std::initializer_list<std::string_view>{"# HELP ", family.name, " ", family.help, "\n# TYPE ",
                                                         family.name, " ", type, "\n", family.samples}) {
                text += part;
            }
        }
        return text;
    }

private:
    struct Family {
        std::string name;
        std::string help;
        std::string lastSource;
        std::string samples;
    };

    Family& familyOf(const Origin& origin) {
        auto known = std::find_if(families_.rbegin(), families_.rend(),
                                  [&](const Family& family) { return family.name == origin.family; });
        if (known == families_.rend()) {
            families_.push_back({std::string(origin.family), std::string(origin.note), {}, {}});
            known = families_.rbegin();
        }
        if (known->lastSource != origin.source) {
            known->help += !known->lastSource.empty() ? ", " : known->help.empty() ? "From " : " From ";
            known->help += origin.source;
            known->lastSource = origin.source;
        }
        return *known;
    }

    std::vector<Family> families_;
};

/// Gives each figure of a snapshot to its family. One overload per kind of value, so that a field of a new type does
/// not compile until it is settled what becomes of it.
class Figures {
public:
    Figures(const SystemSnapshot& snapshot, Families& families) : snapshot_(snapshot), families_(families) {}

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
        const auto& kinds = snapshot_.cpu.coreKinds;
        for (std::size_t i = 0; i < perCore.size(); ++i) {
            const CoreKind kind = i < kinds.size() ? kinds[i] : CoreKind::unknown;
            sample(place, perCore[i], {"core", std::to_string(i)}, {"kind", rawValue(kind)});
        }
    }
    void place(const Place& place, const std::map<std::string, double>& perCore) {
        for (const auto& [core, value] : perCore) sample(place, value, {"core", core});
    }
    void place(const Place&, const std::vector<CoreKind>&) {}  // a label of the usages
    void place(const Place&, const std::string&) {}            // addresses and places

    void sample(const Place& place, double value, Label first, Label second = {}) {
        if (!isTold(place, value)) return;
        families_.add({place.name.family, place.name.note, place.path},
                      {{place.name.label, place.name.labelValue}, first, second}, value * place.name.factor);
    }

    /// Whether the machine told this figure, by what its source leaves behind when it is silent.
    bool isTold(const Place& place, double value) const {
        const std::string_view path = place.path;
        if (path.starts_with("battery.") && !snapshot_.battery.isPresent) return path == "battery.isPresent";
        switch (place.unit) {
            case Unit::megahertz:
            case Unit::celsius:
            case Unit::wattHours:
                return value != 0;
            case Unit::watts: {
                if (value != 0) return true;
                const bool isOfTotal = path == "power.cpuWatts" || path == "power.gpuWatts" ||
                                       path == "power.aneWatts" || path == "power.dramWatts";
                return isOfTotal ? snapshot_.power.totalWatts > 0 : path == "battery.powerWatts";
            }
            case Unit::minutes:
                return value >= 0;
            default:
                return value != 0 || path != "battery.health";
        }
    }

    const SystemSnapshot& snapshot_;
    Families& families_;
};

void addRankings(Families& families, const SnapshotReply& reply) {
    struct Ranking {
        std::string_view family;
        std::string_view note;
        std::string_view source;
        double factor = 1;
    };
    static constexpr std::array rankings{
        Ranking{"zqm_process_cpu_ratio", "Processor time of the leading processes; 1 is one processor.",
                "processes.cpu", 0.01},
        Ranking{"zqm_process_gpu_ratio",
                "GPU utilisation of the leading processes, estimated from their processor time.", "processes.gpu"},
        Ranking{"zqm_process_memory_bytes", "Resident memory of the leading processes.", "processes.memory"},
        Ranking{"zqm_process_disk_bytes_per_second", "Drive traffic of the leading processes.", "processes.disk"},
        Ranking{"zqm_process_network_sockets", "Open internet sockets of the leading processes.", "processes.network"},
        Ranking{"zqm_process_power_watts", "Estimated power of the leading processes.", "processes.power"}};
    static_assert(rankings.size() == allCases<ProcessCategory>().size());
    for (const ProcessCategory category : allCases<ProcessCategory>()) {
        const Ranking& ranking = rankings[static_cast<std::size_t>(category)];
        std::size_t rank = 0;
        for (const TopProcess& process : reply.ranking(category)) {
            if (process.value <= 0) break;  // it only fills the ranking
            families.add({ranking.family, ranking.note, ranking.source},
                         {{"rank", std::to_string(++rank)}, {"name", process.name}}, process.value * ranking.factor);
        }
    }
}

}  // namespace

std::string exposition(const HelperAnswer& answer) {
    Families families;
    const auto* const reply = std::get_if<SnapshotReply>(&answer);
    families.add({"zqm_up", "Whether the helper answered with a sample of now.", {}}, {}, reply ? 1 : 0);
    if (reply) {
        Figures(reply->snapshot, families).add({}, reply->snapshot);
        addRankings(families, *reply);
    }
    return families.text();
}

}  // namespace zqm
