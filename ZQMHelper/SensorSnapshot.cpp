#include "ZQMHelper/SensorSnapshot.h"

#include <cassert>
#include <utility>

#include "Support/Json.h"
#include "ZQMHelper/Shared/MetricsJson.h"

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

std::shared_ptr<const std::string> SensorSnapshot::composed() const {
    const MutexLock hold(lock_);
    return text_;
}

std::string SensorSnapshot::text() const {
    const auto current = composed();
    return current ? *current : R"({"error":"engine not started"})";
}

void SensorSnapshot::request(std::function<void(std::string_view)> take) const {
    if (const auto current = composed()) return take(*current);
    mainLoop_.post([this, take = std::move(take)] { take(text()); });
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

}  // namespace zqm
