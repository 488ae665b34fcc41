#include "ZQMHelper/Shared/MetricsJson.h"

#include <nlohmann/json.hpp>
#include <set>
#include <utility>

#include "Support/Decimal.h"
#include "Support/Finite.h"
#include "Support/Json.h"

namespace zqm {
namespace {

// Encoding: one overload per kind of value, so that a field of a new type does not compile until it has a form.

void write(JsonWriter& json, bool value) {
    json.value(value);
}
void write(JsonWriter& json, double value) {
    json.value(value);
}
void write(JsonWriter& json, std::int64_t value) {
    json.value(value);
}
void write(JsonWriter& json, std::uint64_t value) {
    json.value(value);
}
void write(JsonWriter& json, const std::string& value) {
    json.value(std::string_view(value));
}
void write(JsonWriter& json, WallTime value) {
    json.value(value.time_since_epoch().count());
}

void write(JsonWriter& json, CoreKind kind) {
    json.beginObject();
    json.key(rawValue(kind));
    json.beginObject();
    json.endObject();
    json.endObject();
}

template <class Element>
void write(JsonWriter& json, const std::vector<Element>& values) {
    json.beginArray();
    for (const Element& value : values) write(json, value);
    json.endArray();
}

void write(JsonWriter& json, const std::map<std::string, double>& values) {
    json.beginObject();
    for (const auto& [key, value] : values) {
        json.escapedKey(key);
        json.value(value);
    }
    json.endObject();
}

template <HasSchema Record>
void write(JsonWriter& json, const Record& record) {
    json.beginObject();
    forEachField<Record>([&](const auto& field) {
        json.key(field.name);
        write(json, record.*field.member);
    });
    json.endObject();
}

// Decoding: `read` returns an empty text or what is wrong, with the path grown on the way out.

using Value = nlohmann::json;

/// Takes the text apart. The library alone would stop at a NUL, let the last of two members of one name win and nest
/// as deep as the text is long.
std::string parse(std::string_view text, Value& json) {
    constexpr std::size_t mostDepth = 32;
    std::array<std::set<std::string>, mostDepth> names;  // of the objects around the place that is read
    std::string error;
    const auto look = [&](int around, Value::parse_event_t event, const Value& parsed) {
        const auto depth = static_cast<std::size_t>(around);
        if (depth >= mostDepth) {
            error = "nested too deeply";
        } else if (event == Value::parse_event_t::object_start) {
            names[depth].clear();
        } else if (event == Value::parse_event_t::key && !names[depth - 1].insert(parsed.get<std::string>()).second) {
            error = parsed.get<std::string>() + ": twice in one object";
        }
        return error.empty();  // what follows a fault is not kept
    };
    json = Value::parse(text, look, false);
    if (error.empty() && (json.is_discarded() || text.find('\0') != std::string_view::npos)) error = "not JSON";
    return error;
}

std::string read(const Value& json, bool& value) {
    if (!json.is_boolean()) return ": not a boolean";
    value = json.get<bool>();
    return {};
}

std::string read(const Value& json, double& value) {
    if (!json.is_number()) return ": not a number";
    value = json.get<double>();
    return {};
}

template <class Integer>
std::string readInteger(const Value& json, Integer& value) {
    const bool fits = json.is_number_unsigned()
                          ? std::in_range<Integer>(json.get<std::uint64_t>())
                          : json.is_number_integer() && std::in_range<Integer>(json.get<std::int64_t>());
    if (!fits) return ": not an integer in range";
    value = json.get<Integer>();
    return {};
}
std::string read(const Value& json, std::int64_t& value) {
    return readInteger(json, value);
}
std::string read(const Value& json, std::uint64_t& value) {
    return readInteger(json, value);
}
std::string read(const Value& json, std::int32_t& value) {
    return readInteger(json, value);
}

std::string read(const Value& json, std::string& value) {
    if (!json.is_string()) return ": not a text";
    value = json.get<std::string>();
    return {};
}

std::string read(const Value& json, WallTime& value) {
    double seconds = 0;
    std::string error = read(json, seconds);
    value = WallTime(Seconds(seconds));
    return error;
}

std::string read(const Value& json, CoreKind& kind) {
    if (!json.is_object() || json.size() != 1) return ": Invalid number of keys found, expected one.";
    const auto found = fromRawValue<CoreKind>(json.begin().key());
    if (!found || !json.begin()->is_object() || !json.begin()->empty()) return ": not a core kind";
    kind = *found;
    return {};
}

template <HasSchema Record>
std::string read(const Value& json, Record& record);

template <class Element>
std::string read(const Value& json, std::vector<Element>& values) {
    if (!json.is_array()) return ": not an array";
    values.clear();
    for (const Value& item : json) {
        if (auto error = read(item, values.emplace_back()); !error.empty()) {
            return "[" + std::to_string(values.size() - 1) + "]" + error;
        }
    }
    return {};
}

std::string read(const Value& json, std::map<std::string, double>& values) {
    if (!json.is_object()) return ": not an object";
    values.clear();
    for (const auto& [key, item] : json.items()) {
        if (auto error = read(item, values[key]); !error.empty()) return "." + key + error;
    }
    return {};
}

template <HasSchema Record>
std::string read(const Value& json, Record& record) {
    if (!json.is_object()) return ": not an object";
    std::string error;
    forEachField<Record>([&](const auto& field) {
        if (!error.empty()) return;
        const auto member = json.find(field.name);
        error = member == json.end() ? ": missing" : read(*member, record.*field.member);
        if (!error.empty()) error = "." + std::string(field.name) + error;
    });
    return error;
}

/// The rankings: one array for each category.
std::string readProcesses(const Value& json, SnapshotReply& reply) {
    const auto processes = json.find("processes");
    if (processes == json.end() || !processes->is_object()) return "processes: missing";
    for (const ProcessCategory category : allCases<ProcessCategory>()) {
        const std::string name(rawValue(category));
        const auto ranking = processes->find(name);
        std::string error = ranking == processes->end()
                                ? ": missing"
                                : read(*ranking, reply.processes[static_cast<std::size_t>(category)]);
        if (!error.empty()) return "processes." + name + error;
    }
    return {};
}

std::string readSnapshot(std::string_view text, Value& json, SystemSnapshot& snapshot) {
    std::string error = parse(text, json);
    if (error.empty()) error = read(json, snapshot);
    if (error.starts_with('.')) error.erase(0, 1);
    return error;
}

}  // namespace

std::optional<std::string> encode(const SystemSnapshot& snapshot) {
    JsonWriter json;
    json.reserve(4096);
    write(json, snapshot);
    return json.failed() ? std::nullopt : std::optional(json.take());
}

void appendRanking(std::string& out, const std::vector<TopProcess>& ranking) {
    out += '[';
    for (const TopProcess& process : ranking) {
        if (&process != &ranking.front()) out += ',';
        out += "{\"pid\":";
        out += std::to_string(process.pid);
        out += ",\"name\":";
        appendJsonString(out, process.name);
        out += ",\"value\":";
        appendDecimal(out, finite(process.value));
        out += '}';
    }
    out += ']';
}

std::string withProcesses(std::string snapshot, std::string_view processes) {
    if (snapshot.ends_with('}')) snapshot.pop_back();
    if (snapshot != "{") snapshot += ',';
    snapshot += "\"processes\":";
    snapshot += processes;
    snapshot += '}';
    return snapshot;
}

std::variant<SystemSnapshot, DecodeError> decodeSnapshot(std::string_view text) {
    SystemSnapshot snapshot;
    Value json;
    std::string error = readSnapshot(text, json, snapshot);
    if (!error.empty()) return DecodeError{std::move(error)};
    return snapshot;
}

std::variant<SnapshotReply, DecodeError> decodeReply(std::string_view text) {
    Value json;
    SnapshotReply reply;
    std::string error = readSnapshot(text, json, reply.snapshot);
    if (error.empty()) error = readProcesses(json, reply);
    if (!error.empty()) return DecodeError{std::move(error)};
    return reply;
}

}  // namespace zqm
