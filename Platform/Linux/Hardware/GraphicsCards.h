#pragma once

#include <optional>
#include <string>
#include <vector>

#include "Platform/Linux/Hardware/NvidiaLibrary.h"
#include "Platform/Linux/Kernel/Cadence.h"
#include "Platform/Linux/Kernel/KernelFile.h"
#include "Platform/Linux/Kernel/RootDirectory.h"
#include "Platform/Machine/MachineReadings.h"
#include "Platform/Machine/SourceReport.h"
#include "Platform/Process/Clock.h"
#include "Support/Mutex.h"

namespace zqm {

/// The graphics cards of the kernel's display drivers and of NVIDIA's own. A card that the kernel has put to sleep is
/// not asked and counts as idle: the question would wake it. Callable from any thread.
class GraphicsCards {
public:
    /// `nvidiaLibrary` is NVIDIA's management library; empty: it is not used.
    GraphicsCards(const RootDirectory& root, Clock& clock, std::string nvidiaLibrary);

    /// One per card in the order of names.
    std::vector<GraphicsReading> read();
    SourceDescription describe(MetricFamily family);

private:
    /// A part of a card with a clock of its own (i915, xe).
    struct Engine {
        KernelFile megahertz;
        KernelFile idleTime;  // ms since the start
    };
    struct Card {
        std::string name;
        KernelFile powerState;
        KernelFile busyPercent;
        KernelFile levels;  // "1: 789Mhz *"
        KernelFile hertz;
        std::vector<Engine> engines;
        std::optional<double> mostMegahertz;
        bool isNvidia = false;
    };

    void discover() ZQM_REQUIRES(mutex_);
    Card makeCard(const std::string& name) const;
    std::vector<Engine> makeEngines(const std::string& directory) const;
    std::optional<double> mostMegahertz(const std::string& card) const;
    GraphicsReading readCard(Card& card) ZQM_REQUIRES(mutex_);
    void readNvidia(Card& card, GraphicsReading& reading) ZQM_REQUIRES(mutex_);
    static void readEngines(Card& card, GraphicsReading& reading);

    const RootDirectory& root_;
    Clock& clock_;
    Mutex mutex_;
    NvidiaLibrary nvidia_ ZQM_GUARDED_BY(mutex_);
    Cadence discovery_ ZQM_GUARDED_BY(mutex_){Seconds(60)};
    std::vector<std::string> names_ ZQM_GUARDED_BY(mutex_);
    std::vector<Card> cards_ ZQM_GUARDED_BY(mutex_);
};

}  // namespace zqm
