#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <vector>

namespace zqm {

/// What stands in a slot where nothing is known.
template <class Value>
constexpr Value nothingKnown = std::numeric_limits<Value>::max();
template <>
inline constexpr float nothingKnown<float> = std::numeric_limits<float>::quiet_NaN();

/// The latest slots of time of several rows of values. A slot is a number of periods since 1970, and its place in the
/// ring remembers which one it holds: what has not been written is a gap without being written as one, and a clock that
/// is set wrongly for a while costs only the places that were written meanwhile.
template <class Value>
class SlotRing {
public:
    explicit SlotRing(std::size_t capacity) : slots_(capacity, none) {}

    std::size_t capacity() const { return slots_.size(); }
    std::size_t rows() const { return rows_.size(); }
    bool holds(std::uint32_t slot) const { return slots_[slot % capacity()] == slot; }
    /// Whether the row has ever had a value; one that has not takes no memory.
    bool hasRow(std::size_t row) const { return row < rows_.size() && !rows_[row].empty(); }

    Value at(std::size_t row, std::uint32_t slot) const {
        return hasRow(row) && holds(slot) ? rows_[row][slot % capacity()] : nothingKnown<Value>;
    }

    void put(std::size_t row, std::uint32_t slot, Value value) {
        open(slot);
        if (row >= rows_.size()) rows_.resize(row + 1);
        if (rows_[row].empty()) rows_[row].resize(capacity(), nothingKnown<Value>);
        rows_[row][slot % capacity()] = value;
    }

    /// The greatest slot up to `end` that holds something; nullopt when none does.
    std::optional<std::uint32_t> newest(std::uint32_t end) const { return outermost<true>(0, end); }
    /// The smallest slot from `begin` to `end` that does.
    std::optional<std::uint32_t> oldest(std::uint32_t begin, std::uint32_t end) const {
        return outermost<false>(begin, end);
    }

private:
    static constexpr std::uint32_t none = std::numeric_limits<std::uint32_t>::max();

    /// Frees the slot's place of what stood there before.
    void open(std::uint32_t slot) {
        if (holds(slot)) return;
        slots_[slot % capacity()] = slot;
        for (std::vector<Value>& row : rows_) {
            if (!row.empty()) row[slot % capacity()] = nothingKnown<Value>;
        }
    }

    template <bool isGreatest>
    std::optional<std::uint32_t> outermost(std::uint32_t begin, std::uint32_t end) const {
        std::optional<std::uint32_t> found;
        for (const std::uint32_t slot : slots_) {
            if (slot == none || slot < begin || slot > end) continue;
            if (!found || (isGreatest ? slot > *found : slot < *found)) found = slot;
        }
        return found;
    }

    std::vector<std::uint32_t> slots_;
    std::vector<std::vector<Value>> rows_;
};

}  // namespace zqm
