#pragma once

#include <array>
#include <cstddef>
#include <vector>

#include "Client/History/HistoryBlock.h"
#include "Client/History/Tracks.h"
#include "Client/Levels.h"

namespace zqm {

/// The latest samples of every track and processor, one slot per interval; a slot without an answer is a gap (NaN) in
/// all of them.
class History {
public:
    static constexpr std::size_t capacity = 2048;

    /// Begins with what is known of the time before `now`, seconds since 1970, in slots of `interval`; either may be
    /// null. Only of a history without slots.
    void recall(const HistoryBlock* figures, const HistoryBlock* cores, double now, double interval);
    void add(const SystemSnapshot& snapshot);
    void addGap();
    /// Slots so far, forgotten ones included.
    std::size_t size() const { return size_; }

    /// Whether the machine has ever told it, so that a panel does not come and go with a single reading.
    bool isKnown(Track track) const { return !rings_[indexOf(track)].empty(); }

    /// Of the latest samples, by the usual limits.
    const Levels& levels() const { return levels_; }

    /// The end of the history as a graph of `columns` shows it, `perColumn` slots in each; what is not there is NaN.
    /// Slots keep their place within a column, so the graph moves by whole columns.
    std::vector<double> latest(Track track, std::size_t columns, std::size_t perColumn) const;
    std::vector<double> latestOfCore(std::size_t core, std::size_t columns, std::size_t perColumn) const;

private:
    using Ring = std::vector<float>;

    void put(Ring& ring, float value);
    std::vector<double> window(const Ring& ring, std::size_t columns, std::size_t perColumn) const;

    std::size_t size_ = 0;
    std::array<Ring, trackCount> rings_{};  // of what is known
    std::vector<Ring> cores_;
    LevelTrail trail_;
    Levels levels_;
};

}  // namespace zqm
