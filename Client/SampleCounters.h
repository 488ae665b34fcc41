#pragma once

#include <array>
#include <optional>
#include <string_view>
#include <vector>

#include "Client/MetricFamilies.h"
#include "ZQMHelper/Shared/Metrics.h"

namespace zqm {

/// A figure of the snapshot that is so much a second, and what its sum over time is called.
struct SummedFigure {
    std::string_view field;
    MetricOrigin counter;
    Label label;
    double (*perSecond)(const SystemSnapshot&);
};
constexpr std::array summedFigures{
    SummedFigure{"network.uploadBytesPerSecond",
                 {"zqm_network_bytes_total", "Passed since the exporter started."},
                 {"direction", "upload"},
                 [](const SystemSnapshot& now) { return now.network.uploadBytesPerSecond; }},
    SummedFigure{"network.downloadBytesPerSecond",
                 {"zqm_network_bytes_total", ""},
                 {"direction", "download"},
                 [](const SystemSnapshot& now) { return now.network.downloadBytesPerSecond; }},
    SummedFigure{"disk.readBytesPerSecond",
                 {"zqm_disk_bytes_total", "Passed since the exporter started."},
                 {"direction", "read"},
                 [](const SystemSnapshot& now) { return now.disk.readBytesPerSecond; }},
    SummedFigure{"disk.writeBytesPerSecond",
                 {"zqm_disk_bytes_total", ""},
                 {"direction", "write"},
                 [](const SystemSnapshot& now) { return now.disk.writeBytesPerSecond; }},
    SummedFigure{"gpu.utilization",
                 {"zqm_gpu_busy_seconds_total", "Busy time of the busiest GPU since the exporter started."},
                 {},
                 [](const SystemSnapshot& now) { return now.gpu.utilization; }},
    SummedFigure{"power.cpuWatts",
                 {"zqm_energy_joules_total", "Used since the exporter started; the parts add up."},
                 {"part", "cpu"},
                 [](const SystemSnapshot& now) { return now.power.cpuWatts; }},
    SummedFigure{"power.gpuWatts",
                 {"zqm_energy_joules_total", ""},
                 {"part", "gpu"},
                 [](const SystemSnapshot& now) { return now.power.gpuWatts; }},
    SummedFigure{"power.aneWatts",
                 {"zqm_energy_joules_total", ""},
                 {"part", "ane"},
                 [](const SystemSnapshot& now) { return now.power.aneWatts; }},
    SummedFigure{"power.dramWatts",
                 {"zqm_energy_joules_total", ""},
                 {"part", "dram"},
                 [](const SystemSnapshot& now) { return now.power.dramWatts; }},
    SummedFigure{"power.systemWatts",
                 {"zqm_system_energy_joules_total", "Used by the whole machine since the exporter started."},
                 {},
                 [](const SystemSnapshot& now) { return now.power.systemWatts; }},
    SummedFigure{"power.displayWatts",
                 {"zqm_display_energy_joules_total", "Used by the display since the exporter started."},
                 {},
                 [](const SystemSnapshot& now) { return now.power.displayWatts; }}};

/// Sums what the samples tell per second, so that a scrape every quarter of a minute misses nothing that they have
/// seen. No sum ever falls.
///
/// A sample stands for the time since the one before it, by the caller's clock and not by the samples' own, which may
/// be set: one that is seen twice counts once. After more than three intervals without a new one, or an answer that is
/// missing, nothing counts: nobody knows what was.
class SampleCounters {
public:
    explicit SampleCounters(Seconds interval) : interval_(interval) {}

    void count(const SystemSnapshot& sample, MonotonicTime now);
    /// The helper gave no sample.
    void miss() { last_.reset(); }

    /// Of `summedFigures`, in their order.
    const std::array<double, summedFigures.size()>& sums() const { return sums_; }
    /// By logical processor.
    const std::vector<double>& busySeconds() const { return busySeconds_; }
    /// Whether the figure has ever been more than 0: a machine without such a part never tells anything else.
    bool hasCounted(std::string_view field) const;

private:
    struct Seen {
        WallTime timestamp;
        MonotonicTime at;
    };
    const Seconds interval_;
    std::optional<Seen> last_;
    std::array<double, summedFigures.size()> sums_{};
    std::vector<double> busySeconds_;
};

}  // namespace zqm
