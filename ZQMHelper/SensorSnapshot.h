#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "Support/Mutex.h"
#include "ZQMHelper/Shared/MonitorEngine.h"
#include "ZQMHelper/Shared/ProcessReader.h"

namespace zqm {

/// The body of the snapshot route.
///
/// The main thread, which alone touches the engine, composes it anew whenever a sample or a ranking of processes is
/// published; requests take the text composed last, whole, from any thread, without waiting for the main thread. A
/// thousand clients thereby cost no more readings and no more encoding than none.
class SensorSnapshot {
public:
    explicit SensorSnapshot(Platform& platform = Platform::current()) : mainLoop_(platform.mainLoop) {}

    /// Follows the process rankings from now on. Main thread.
    void setProcessReader(std::shared_ptr<ProcessReader> reader);
    /// Follows the engine's samples from now on. Main thread.
    void setEngine(std::shared_ptr<MonitorEngine> engine);

    /// What the route answers now. Any thread.
    std::string text() const;
    /// Hands `take` what the route answers: at once where a text has been composed, else on the main thread, behind
    /// what has been posted there, such as the engine's creation. Any thread; nobody waits.
    void request(std::function<void(std::string_view)> take) const;

    /// The rankings as a JSON object with one array per category, all six in their order, at most ten entries each.
    /// Main thread.
    std::string processes() const;

private:
    void publish();
    std::shared_ptr<const std::string> composed() const;

    MainLoop& mainLoop_;
    std::shared_ptr<ProcessReader> processReader_;
    std::shared_ptr<MonitorEngine> engine_;
    mutable Mutex lock_;
    std::shared_ptr<const std::string> text_ ZQM_GUARDED_BY(lock_);  // null before there is an engine
};

}  // namespace zqm
