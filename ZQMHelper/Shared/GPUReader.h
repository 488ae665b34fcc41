#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "Platform/Platform.h"
#include "Platform/Process/Clock.h"
#include "Support/LastPositive.h"
#include "ZQMHelper/Shared/Metrics.h"

namespace zqm {

struct GraphicsReading;

/// How busy the graphics processors are, as the machine tells them, else from the statistics that their drivers publish
/// in the registry. Used from one thread at a time.
class GPUReader {
public:
    explicit GPUReader(Platform& platform = Platform::current()) : platform_(platform) {}

    /// `utilization` of the busiest GPU and `frequencyMHz` of the fastest; where the machine tells them, the highest
    /// clock and the busiest GPU's temperature too, else these stay 0.
    GPUMetrics sample();

private:
    /// The idle time of a card's parts when it was looked at last, and how busy it was until then.
    struct Part {
        std::optional<double> idleSeconds;
        bool hasMoved = false;
    };
    struct Parts {
        std::vector<Part> parts;
        MonotonicTime time{};
        double busiest = 0;
    };
    GPUMetrics samplePlain();
    GPUMetrics sampleRegistry();
    double busyShare(const GraphicsReading& card);

    Platform& platform_;
    std::map<std::string, Parts> previous_;  // by card, for those that count idle time
    LastPositive megahertz_;
    double mostMegahertz_ = 0;  // told or seen
};

}  // namespace zqm
