#pragma once

#include <optional>
#include <string>
#include <vector>

#include "Platform/Linux/Hardware/CardSleep.h"
#include "Platform/Linux/Hardware/DevfreqGraphics.h"
#include "Platform/Linux/Hardware/DisplayCard.h"
#include "Platform/Linux/Hardware/NvidiaLibrary.h"
#include "Platform/Linux/Kernel/Cadence.h"
#include "Platform/Linux/Kernel/RootDirectory.h"
#include "Platform/Machine/MachineReadings.h"
#include "Platform/Machine/SourceReport.h"
#include "Platform/Process/Clock.h"
#include "Support/Mutex.h"

namespace zqm {

/// The graphics cards of the kernel's display drivers and of NVIDIA's own, and the GPUs of ARM chips. A card that
/// sleeps is not asked and counts as idle; one that may fall asleep (see CardSleep) keeps its last reading while it is
/// left alone. While no card of NVIDIA's is asked their library is closed: open, it keeps them awake. Callable from any
/// thread.
class GraphicsCards {
public:
    /// `nvidiaLibrary` is NVIDIA's management library; empty: it is not used.
    GraphicsCards(const RootDirectory& root, Clock& clock, std::string nvidiaLibrary);

    /// One per card in the order of names, then the chips' own. Several readers of one tick get the same.
    std::vector<GraphicsReading> read();
    /// nullopt: no card has a source of the family. Wakes no card.
    std::optional<SourceDescription> describe(MetricFamily family);

private:
    struct Card {
        std::string name;
        CardSleep sleep;
        std::optional<DisplayCard> display;  // absent: NVIDIA's driver's
        GraphicsReading last{};
    };

    void discover() ZQM_REQUIRES(mutex_);
    void addCards(const std::vector<std::string>& names, const std::vector<std::string>& addresses)
        ZQM_REQUIRES(mutex_);
    CardSleep::State readCard(Card& card, MonotonicTime now) ZQM_REQUIRES(mutex_);
    GraphicsReading readNvidia(const Card& card) ZQM_REQUIRES(mutex_);
    std::optional<SourceDescription> describe(const Card& card, MetricFamily family, CardSleep::State state)
        ZQM_REQUIRES(mutex_);

    const RootDirectory& root_;
    Clock& clock_;
    Mutex mutex_;
    NvidiaLibrary nvidia_ ZQM_GUARDED_BY(mutex_);
    Cadence discovery_ ZQM_GUARDED_BY(mutex_){Seconds(60)};
    Cadence reading_ ZQM_GUARDED_BY(mutex_){Seconds(0.25)};
    std::vector<std::string> names_ ZQM_GUARDED_BY(mutex_);  // of all that the cards are made from
    std::vector<Card> cards_ ZQM_GUARDED_BY(mutex_);
    std::vector<DevfreqGraphics> chips_ ZQM_GUARDED_BY(mutex_);
    std::vector<GraphicsReading> readings_ ZQM_GUARDED_BY(mutex_);
};

}  // namespace zqm
