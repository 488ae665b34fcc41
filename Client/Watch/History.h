#pragma once

#include <array>
#include <cstddef>
#include <vector>

#include "Client/Levels.h"
#include "ZQMHelper/Shared/MetricsJson.h"

namespace zqm {

/// What is drawn over time.
enum class Quantity { load, cpu, memory, gpu, download, upload, read, write, temperature, power, battery };
constexpr std::size_t quantityCount = 11;

/// The latest samples of every quantity and processor, one slot per interval; a slot without an answer is a gap (NaN)
/// in all of them.
class History {
public:
    static constexpr std::size_t capacity = 2048;

    void add(const SystemSnapshot& snapshot);
    void addGap();
    /// Slots so far, forgotten ones included.
    std::size_t size() const { return size_; }

    /// Whether the machine has ever told it, so that a panel does not come and go with a single reading.
    bool isKnown(Quantity quantity) const { return isKnown_[static_cast<std::size_t>(quantity)]; }

    /// Of the latest samples, by the usual limits.
    const Levels& levels() const { return levels_; }

    /// The end of the history as a graph of `columns` shows it, `perColumn` slots in each; what is not there is NaN.
    /// Slots keep their place within a column, so the graph moves by whole columns.
    std::vector<double> latest(Quantity quantity, std::size_t columns, std::size_t perColumn) const;
    std::vector<double> latestOfCore(std::size_t core, std::size_t columns, std::size_t perColumn) const;

private:
    using Ring = std::vector<float>;

    static Ring emptyRing();
    void put(Quantity quantity, double value, bool isThere = true);
    std::vector<double> window(const Ring& ring, std::size_t columns, std::size_t perColumn) const;

    std::size_t size_ = 0;
    std::array<Ring, quantityCount> rings_{};
    std::array<bool, quantityCount> isKnown_{};
    std::vector<Ring> cores_;
    LevelTrail trail_;
    Levels levels_;
};

}  // namespace zqm
