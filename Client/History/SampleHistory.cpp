#include "Client/History/SampleHistory.h"

#include <algorithm>
#include <cmath>
#include <iterator>

#include "Client/Texts.h"

namespace zqm {
namespace {

constexpr std::uint32_t mostSlots = 3600;  // of an answer, and of single processors
static_assert(nothingKnown<std::uint8_t> == unknownShare);
constexpr double latestSecond = 4e9;  // in the year 2096

std::string coreName(std::size_t core) {
    return "core." + std::to_string(core);
}

/// The number of slots from one to another, at most what a ring holds.
std::uint32_t slotsBetween(std::uint32_t& first, std::uint32_t last, std::size_t capacity) {
    if (last < first) return 0;
    const auto most = static_cast<std::uint32_t>(capacity);
    if (last - first >= most) first = last - most + 1;
    return last - first + 1;
}

}  // namespace

void HistoryTier::add(std::uint32_t second, const Figures& figures) {
    const std::uint32_t slot = second / period_;
    if (slot_ != slot) {
        // What a slot holds from before a restart counts as if it had been told from its beginning on.
        weights_.fill(ring_.holds(slot) ? std::max(second % period_, std::uint32_t{1}) : 0);
        slot_ = slot;
    }
    for (std::size_t i = 0; i < trackCount; ++i) {
        const float value = figures[i];
        const std::size_t row = i * parts();
        const bool isNothing = value == 0 && beginsAboveZero(static_cast<Track>(i)) && !ring_.hasRow(row);
        if (isNothing || !std::isfinite(value)) continue;
        const float mean = ring_.at(row, slot);
        const bool isFirst = parts() == 1 || std::isnan(mean);
        weights_[i] = isFirst ? 1 : weights_[i] + 1;
        ring_.put(row, slot, isFirst ? value : mean + (value - mean) / static_cast<float>(weights_[i]));
        if (parts() == 1) continue;
        ring_.put(row + 1, slot, isFirst ? value : std::min(ring_.at(row + 1, slot), value));
        ring_.put(row + 2, slot, isFirst ? value : std::max(ring_.at(row + 2, slot), value));
    }
}

std::string HistoryTier::block(std::uint32_t first, std::uint32_t last) const {
    BlockShape shape{.period = period_, .parts = parts()};
    shape.count = slotsBetween(first, last, ring_.capacity());
    shape.first = first;
    for (std::size_t i = 0; i < trackCount; ++i) {
        if (hasTold(static_cast<Track>(i))) shape.names.emplace_back(RawValues<Track>::texts[i]);
    }
    BlockWriter writer(shape);
    for (std::size_t row = 0; row < trackCount * parts(); ++row) {
        if (!hasTold(static_cast<Track>(row / parts()))) continue;
        for (std::uint32_t i = 0; i < shape.count; ++i) writer.put(ring_.at(row, first + i));
    }
    return writer.take();
}

std::string HistoryTier::whole(std::uint32_t now) const {
    const std::uint32_t end = now / period_;
    const std::uint32_t begin = end - std::min(end, capacity() - 1);
    const auto first = ring_.oldest(begin, end);
    return first ? block(*first, *ring_.newest(end)) : block(1, 0);
}

void HistoryTier::take(const HistoryBlock& block) {
    const BlockShape& shape = block.shape;
    for (std::size_t track = 0; track < shape.names.size(); ++track) {
        const auto known = fromRawValue<Track>(shape.names[track]);
        if (!known) continue;  // of a later version
        for (std::uint32_t i = 0; i < shape.count; ++i) {
            bool isKnown = true;
            for (std::size_t part = 0; part < shape.parts; ++part) isKnown &= std::isfinite(block.at(track, part, i));
            for (std::size_t part = 0; isKnown && part < shape.parts; ++part) {
                ring_.put(indexOf(*known) * parts() + part, shape.first + i, block.at(track, part, i));
            }
        }
    }
}

void CoreHistory::add(std::uint32_t second, const std::vector<double>& shares) {
    if (shares.empty()) return;
    const std::size_t slots = std::clamp<std::size_t>(SampleHistory::mostCoreBytes / shares.size(), 1, mostSlots);
    if (!ring_ || ring_->rows() > shares.size() || ring_->capacity() > slots) ring_.emplace(slots);
    for (std::size_t core = 0; core < shares.size(); ++core) ring_->put(core, second, shareByte(shares[core]));
}

std::string CoreHistory::block(std::uint32_t first, std::uint32_t last) const {
    BlockShape shape{.width = 1};
    if (ring_) shape.count = slotsBetween(first, last, ring_->capacity());
    shape.first = first;
    for (std::size_t core = 0; ring_ && core < ring_->rows(); ++core) shape.names.push_back(coreName(core));
    BlockWriter writer(shape);
    for (std::size_t core = 0; core < shape.names.size(); ++core) {
        for (std::uint32_t i = 0; i < shape.count; ++i) writer.put(ring_->at(core, first + i));
    }
    return writer.take();
}

std::string CoreHistory::whole(std::uint32_t now) const {
    const std::uint32_t begin = now - std::min(now, mostSlots - 1);
    const auto first = ring_ ? ring_->oldest(begin, now) : std::nullopt;
    return first ? block(*first, *ring_->newest(now)) : block(1, 0);
}

void CoreHistory::take(const HistoryBlock& block) {
    std::vector<double> shares(block.shape.names.size());
    for (std::uint32_t i = 0; i < block.shape.count; ++i) {
        for (std::size_t core = 0; core < shares.size(); ++core) shares[core] = block.at(core, 0, i);
        const bool isGap = std::all_of(shares.begin(), shares.end(), [](double share) { return std::isnan(share); });
        if (!isGap) add(block.shape.first + i, shares);
    }
}

void SampleHistory::add(const SystemSnapshot& sample, Seconds interval) {
    const double time = std::floor(sample.timestamp.time_since_epoch().count());
    if (timestamp_ == sample.timestamp || !(time >= 0 && time <= latestSecond)) return;
    timestamp_ = sample.timestamp;
    const auto second = static_cast<std::uint32_t>(time);
    const double longest = 3 * std::max(interval.count(), 1.0);
    const bool follows = newest_ && second > *newest_ && second - *newest_ <= longest;
    const Figures figures = figuresOf(sample);
    for (std::uint32_t i = follows ? *newest_ + 1 : second; i <= second; ++i) {
        for (HistoryTier& tier : tiers_) tier.add(i, figures);
        cores_.add(i, sample.cpu.perCoreUsage);
    }
    newest_ = second;
}

std::string SampleHistory::figures(std::uint32_t from, std::uint32_t to) const {
    const std::uint32_t now = newest_.value_or(to);
    const auto fits = [&](const HistoryTier& tier) {
        const bool reaches = std::uint64_t{from / tier.period()} + tier.capacity() > now / tier.period();
        return reaches && (to < from || (to - from) / tier.period() < mostSlots);
    };
    const HistoryTier& tier = *std::find_if(tiers_.begin(), std::prev(tiers_.end()), fits);
    return tier.block(from / tier.period(), to / tier.period());
}

std::string SampleHistory::cores(std::uint32_t from, std::uint32_t to) const {
    return cores_.block(from, to);
}

std::string SampleHistory::saved(Part part, std::uint32_t now) const {
    return part == Part::cores ? cores_.whole(now) : tiers_[static_cast<std::size_t>(part)].whole(now);
}

std::optional<std::string> SampleHistory::restore(Part part, std::string_view bytes) {
    auto read = readBlock(bytes);
    if (auto* problem = std::get_if<std::string>(&read)) return std::move(*problem);
    const HistoryBlock& block = std::get<HistoryBlock>(read);
    const bool isCores = part == Part::cores;
    const std::size_t tier = isCores ? 0 : static_cast<std::size_t>(part);
    const bool fits = block.shape.period == tiers_[tier].period() && block.shape.parts == tiers_[tier].parts() &&
                      (block.shape.width == 1) == isCores;
    if (!fits) return said("it is of another part of the history");
    if (isCores) {
        cores_.take(block);
    } else {
        tiers_[tier].take(block);
    }
    return std::nullopt;
}

}  // namespace zqm
