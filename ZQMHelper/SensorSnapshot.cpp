#include "ZQMHelper/SensorSnapshot.h"

#include <utility>

namespace zqm {

void SensorSnapshot::setEngine(std::shared_ptr<MonitorEngine> engine) {
    engine_ = std::move(engine);
    engine_->observation().onChange([this](std::string_view) { publish(); });
    publish();
}

void SensorSnapshot::publish() {
    auto text = std::make_shared<const std::string>(engine_->snapshotJSON());
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

std::string withProcesses(std::string snapshot, std::string_view processes) {
    if (snapshot.ends_with('}')) snapshot.pop_back();
    if (snapshot != "{") snapshot += ',';
    snapshot += "\"processes\":";
    snapshot += processes;
    snapshot += '}';
    return snapshot;
}

}  // namespace zqm
