#include "ZQMHelper/SensorSnapshot.h"

#include <cassert>
#include <utility>

#include "Support/Decimal.h"
#include "Support/Finite.h"
#include "Support/Json.h"

namespace zqm {
namespace {

constexpr std::size_t entriesPerCategory = 10;

}  // namespace

void SensorSnapshot::setProcessReader(std::shared_ptr<ProcessReader> reader) {
    processReader_ = std::move(reader);
    processReader_->onUpdate([this] { publish(); });
}

void SensorSnapshot::setEngine(std::shared_ptr<MonitorEngine> engine) {
    engine_ = std::move(engine);
    engine_->observation().onChange([this](std::string_view) { publish(); });
    publish();
}

void SensorSnapshot::publish() {
    if (!engine_) return;
    auto text = std::make_shared<const std::string>(withProcesses(engine_->snapshotJSON(), processes()));
    const MutexLock hold(lock_);
    text_.swap(text);
}

std::string SensorSnapshot::text() const {
    const auto current = [this] {
        const MutexLock hold(lock_);
        return text_;
    }();
    return *current;
}

std::string SensorSnapshot::processes() const {
    assert(mainLoop_.isCurrent());
    std::string out = "{";
    for (const ProcessCategory category : allCases<ProcessCategory>()) {
        if (out.size() > 1) out += ',';
        appendJsonString(out, rawValue(category));
        out += ':';
        appendRanking(
            out, processReader_ ? processReader_->cached(category, entriesPerCategory) : std::vector<TopProcess>{});
    }
    return out + '}';
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

}  // namespace zqm
