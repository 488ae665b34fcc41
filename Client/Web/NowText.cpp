#include "Client/Web/NowText.h"

#include <array>
#include <cmath>

#include "Client/Status.h"
#include "Client/Texts.h"
#include "Client/Units.h"
#include "Support/Json.h"

namespace zqm {
namespace {

/// A value that may be missing or absurd.
void number(JsonWriter& json, std::optional<double> value) {
    if (value && std::isfinite(*value)) {
        json.value(*value);
    } else {
        json.null();
    }
}

void text(JsonWriter& json, std::string_view name, std::string_view value) {
    json.key(name);
    json.value(value);
}

void levels(JsonWriter& json, const Levels& levels) {
    struct Judged {
        std::string_view name;
        Aspect aspect;
    };
    json.key("levels");
    json.beginObject();
    for (const auto& [name, aspect] :
         {Judged{"load", Aspect::load}, Judged{"cpu", Aspect::cpu}, Judged{"gpu", Aspect::gpu},
          Judged{"cpuHeat", Aspect::cpuHeat}, Judged{"gpuHeat", Aspect::gpuHeat}, Judged{"memory", Aspect::memory},
          Judged{"battery", Aspect::battery}}) {
        text(json, name, rawValue(levels.of(aspect)));
    }
    json.endObject();
}

void rates(JsonWriter& json, std::string_view name, const std::vector<TransferRate>& rates) {
    json.key(name);
    json.beginArray();
    for (const TransferRate& rate : rates) {
        json.beginObject();
        text(json, "name", rate.name);
        json.key("in");
        number(json, rate.in);
        json.key("out");
        number(json, rate.out);
        json.endObject();
    }
    json.endArray();
}

void fileSystems(JsonWriter& json, const std::vector<FileSystem>& systems) {
    json.key("fileSystems");
    json.beginArray();
    for (const FileSystem& system : systems) {
        json.beginObject();
        text(json, "path", system.mountPoint);
        json.key("totalBytes");
        json.value(system.total);
        json.key("freeBytes");
        json.value(system.available);
        text(json, "level", rawValue(spaceLevel(system)));
        json.endObject();
    }
    json.endArray();
}

void facts(JsonWriter& json, const MachineFacts* facts) {
    json.key("facts");
    if (!facts) return json.null();
    json.beginObject();
    text(json, "system", facts->system);
    text(json, "model", facts->model);
    text(json, "processor", facts->processor);
    json.key("uptime");
    number(json, facts->uptime ? std::optional(facts->uptime->count()) : std::nullopt);
    json.key("loadAverages");
    if (facts->loadAverages) {
        json.beginArray();
        for (const double average : *facts->loadAverages) number(json, average);
        json.endArray();
    } else {
        json.null();
    }
    fileSystems(json, facts->fileSystems);
    rates(json, "drives", facts->drives);
    rates(json, "interfaces", facts->interfaces);
    json.endObject();
}

void values(JsonWriter& json, const NowPicture& picture) {
    json.key("slot");
    number(json, picture.latest ? std::optional<double>(picture.latest->first) : std::nullopt);
    json.key("values");
    json.beginObject();
    for (std::size_t i = 0; picture.latest && i < trackCount; ++i) {
        const float value = picture.latest->second[i];
        if (!std::isfinite(value)) continue;
        json.key(RawValues<Track>::texts[i]);
        json.value(static_cast<double>(value));
    }
    json.endObject();
}

/// Why there is no fresh sample; empty when there is one.
std::string problemOf(const NowPicture& picture) {
    if (const auto* error = std::get_if<HelperError>(&picture.answer)) return error->message;
    const SystemSnapshot& sample = std::get<SnapshotReply>(picture.answer).snapshot;
    return ageIfOld(sample, picture.interval, picture.now) ? said("the helper takes no new sample") : std::string();
}

}  // namespace

std::string nowText(const NowPicture& picture) {
    JsonWriter json;
    json.beginObject();
    json.key("time");
    json.value(picture.now.time_since_epoch().count());
    json.key("interval");
    json.value(picture.interval.count());
    text(json, "language", L10n::language == AppLanguage::chinese ? "zh" : "en");
    text(json, "temperature", rawValue(picture.settings.tempUnit()));
    text(json, "frequency", rawValue(picture.settings.freqUnit()));
    text(json, "version", ZQM_VERSION);
    json.key("problem");
    if (const std::string problem = problemOf(picture); problem.empty()) {
        json.null();
    } else {
        json.value(std::string_view(problem));
    }
    values(json, picture);
    levels(json, picture.levels);
    facts(json, picture.facts);
    std::string whole = json.take();
    whole += ",\"sample\":";
    const auto* const reply = std::get_if<SnapshotReply>(&picture.answer);
    whole += reply ? statusJson(*reply) : "null";
    return whole += '}';
}

}  // namespace zqm
