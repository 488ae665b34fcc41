#include "Client/Watch/History.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace zqm {
namespace {

constexpr float gap = std::numeric_limits<float>::quiet_NaN();

/// What the track tells of a second; NaN where the block does not hold it.
float valueAt(const HistoryBlock& block, std::size_t track, double second) {
    const double slot = second - static_cast<double>(block.shape.first);
    const bool isThere = block.shape.period == 1 && slot >= 0 && slot < block.shape.count;
    return isThere ? block.at(track, 0, static_cast<std::size_t>(slot)) : gap;
}

}  // namespace

void History::put(Ring& ring, float value) {
    if (ring.empty()) ring.resize(capacity, gap);
    ring[size_ % capacity] = value;
}

void History::recall(const HistoryBlock* figures, const HistoryBlock* cores, double now, double interval) {
    for (; size_ < capacity; ++size_) {
        const double second = std::floor(now - static_cast<double>(capacity - size_) * interval);
        for (std::size_t i = 0; figures && i < figures->shape.names.size(); ++i) {
            const float value = valueAt(*figures, i, second);
            const auto track = fromRawValue<Track>(figures->shape.names[i]);
            if (track && !std::isnan(value)) put(rings_[indexOf(*track)], value);
        }
        if (cores) cores_.resize(std::max(cores_.size(), cores->shape.names.size()));
        for (std::size_t core = 0; cores && core < cores_.size(); ++core) {
            put(cores_[core], valueAt(*cores, core, second));
        }
    }
}

void History::add(const SystemSnapshot& snapshot) {
    levels_ = trail_.add(Levels(snapshot, usualLimits));
    const Figures figures = figuresOf(snapshot);
    for (std::size_t i = 0; i < trackCount; ++i) {
        const auto track = static_cast<Track>(i);
        const bool isTold = std::isfinite(figures[i]) && !(figures[i] == 0 && beginsAboveZero(track));
        if (isTold || isKnown(track)) put(rings_[i], figures[i]);
    }
    const std::vector<double>& usage = snapshot.cpu.perCoreUsage;
    cores_.resize(usage.size());
    for (std::size_t core = 0; core < usage.size(); ++core) put(cores_[core], static_cast<float>(usage[core]));
    ++size_;
}

void History::addGap() {
    const auto leave = [this](Ring& ring) {
        if (!ring.empty()) put(ring, gap);
    };
    for (Ring& ring : rings_) leave(ring);
    for (Ring& ring : cores_) leave(ring);
    ++size_;
}

std::vector<double> History::latest(Track track, std::size_t columns, std::size_t perColumn) const {
    return window(rings_[indexOf(track)], columns, perColumn);
}

std::vector<double> History::latestOfCore(std::size_t core, std::size_t columns, std::size_t perColumn) const {
    return core < cores_.size() ? window(cores_[core], columns, perColumn) : window({}, columns, perColumn);
}

std::vector<double> History::window(const Ring& ring, std::size_t columns, std::size_t perColumn) const {
    const std::size_t count = columns * perColumn;
    std::vector<double> values(count, gap);
    if (ring.empty()) return values;
    const std::size_t end = (size_ + perColumn - 1) / perColumn * perColumn;
    for (std::size_t i = 0; i < count; ++i) {
        const std::size_t back = count - i;  // slots before the end
        if (back > end) continue;
        const std::size_t slot = end - back;
        if (slot < size_ && size_ - slot <= capacity) values[i] = static_cast<double>(ring[slot % capacity]);
    }
    return values;
}

}  // namespace zqm
