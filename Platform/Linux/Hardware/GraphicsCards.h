#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "Platform/Linux/Hardware/NvidiaLibrary.h"
#include "Platform/Linux/Kernel/Cadence.h"
#include "Platform/Linux/Kernel/KernelFile.h"
#include "Platform/Linux/Kernel/RootDirectory.h"
#include "Platform/Linux/Processors/ProcessorFrequencies.h"
#include "Platform/Process/Clock.h"
#include "Support/Mutex.h"

namespace zqm {

/// What a graphics card tells of itself at one moment; what its driver does not tell is absent.
struct GraphicsReading {
    std::string name;  // the kernel's: "card0"; a PCI address where the kernel has no name
    std::optional<double> busyPercent;
    std::optional<double> megahertz;
    std::optional<double> celsius;  // only where no sensor chip tells it
};

/// The graphics cards of the kernel's display drivers and of NVIDIA's own. A card that the kernel has put to sleep is
/// not asked and counts as idle: the question would wake it. Callable from any thread.
class GraphicsCards {
public:
    /// `nvidiaLibrary` is NVIDIA's management library; empty: it is not used.
    GraphicsCards(const RootDirectory& root, Clock& clock, std::string nvidiaLibrary);

    /// One per card in the order of names. Asked again within one tick, the same.
    std::vector<GraphicsReading> read();
    /// What the cards may run at, all together; empty when nothing is known.
    ClockSteps steps();

private:
    /// A part of a card with a clock of its own (i915, xe).
    struct Engine {
        KernelFile megahertz;
        KernelFile idleTime;  // ms since the start
        std::optional<std::uint64_t> lastIdle;
        MonotonicTime lastTime{};
        bool hasMoved = false;
    };
    struct Card {
        std::string name;
        KernelFile powerState;
        KernelFile busyPercent;
        KernelFile levels;  // "1: 789Mhz *"
        KernelFile hertz;
        std::vector<Engine> engines;
        bool isNvidia = false;
    };

    void discover() ZQM_REQUIRES(mutex_);
    Card makeCard(const std::string& name) ZQM_REQUIRES(mutex_);
    std::vector<Engine> makeEngines(const std::string& directory);
    void settleSteps() ZQM_REQUIRES(mutex_);
    void addSteps(const std::string& card) ZQM_REQUIRES(mutex_);
    GraphicsReading readCard(Card& card, MonotonicTime now) ZQM_REQUIRES(mutex_);
    static void readEngines(Card& card, MonotonicTime now, GraphicsReading& reading);

    const RootDirectory& root_;
    Clock& clock_;
    Mutex mutex_;
    NvidiaLibrary nvidia_ ZQM_GUARDED_BY(mutex_);
    Cadence discovery_ ZQM_GUARDED_BY(mutex_){Seconds(60)};
    Cadence reading_ ZQM_GUARDED_BY(mutex_){sameTick};
    std::vector<std::string> names_ ZQM_GUARDED_BY(mutex_);
    std::vector<Card> cards_ ZQM_GUARDED_BY(mutex_);
    std::vector<GraphicsReading> readings_ ZQM_GUARDED_BY(mutex_);
    ClockSteps steps_ ZQM_GUARDED_BY(mutex_);
};

}  // namespace zqm
