#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "Platform/Linux/Hardware/CardSleep.h"
#include "Platform/Linux/Hardware/NvidiaLibrary.h"
#include "Platform/Linux/Kernel/RootDirectory.h"
#include "Platform/Machine/MachineDetails.h"
#include "Platform/Process/Clock.h"

namespace zqm {

/// Which processes NVIDIA's cards work for, by the driver's library, which tells shares of its latest sampling period;
/// they are added up to counts. Cards without work are left alone to fall asleep. One thread at a time.
class NvidiaUsers {
public:
    /// `library` is empty where there is none.
    NvidiaUsers(const RootDirectory& root, Clock& clock, std::string library)
        : root_(root), clock_(clock), library_(std::move(library)) {}

    /// By process; of the processes that the driver has spoken of so far.
    const std::map<std::int32_t, std::vector<EngineUse>>& read();

private:
    struct Card {
        std::string address;
        CardSleep sleep;
        std::uint64_t latestMicroseconds = 0;  // of what has been told
    };
    void add(Card& card, double seconds);

    const RootDirectory& root_;
    Clock& clock_;
    NvidiaLibrary library_;
    std::optional<MonotonicTime> lastTime_;
    std::vector<Card> cards_;
    std::map<std::int32_t, std::vector<EngineUse>> users_;
};

}  // namespace zqm
