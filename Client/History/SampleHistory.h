#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "Client/History/HistoryBlock.h"
#include "Client/History/SlotRing.h"
#include "Client/History/Tracks.h"

namespace zqm {

/// One resolution of the past of all tracks. A slot longer than a second holds the mean, the least and the greatest of
/// what was told in it, at any moment of what has been told so far.
class HistoryTier {
public:
    HistoryTier(std::uint32_t period, std::size_t slots) : period_(period), ring_(slots) {}

    std::uint32_t period() const { return period_; }
    std::uint32_t parts() const { return period_ == 1 ? 1 : 3; }
    std::uint32_t capacity() const { return static_cast<std::uint32_t>(ring_.capacity()); }

    void add(std::uint32_t second, const Figures& figures);
    bool hasTold(Track track) const { return ring_.hasRow(indexOf(track) * parts()); }
    float value(Track track, std::uint32_t slot) const { return ring_.at(indexOf(track) * parts(), slot); }

    /// The slots from `first` to `last` as a block of the tracks that have ever been told.
    std::string block(std::uint32_t first, std::uint32_t last) const;
    /// Everything up to the second `now`.
    std::string whole(std::uint32_t now) const;
    /// Takes over what a block of the same resolution tells.
    void take(const HistoryBlock& block);

private:
    const std::uint32_t period_;
    SlotRing<float> ring_;
    std::optional<std::uint32_t> slot_;                // to which the weights belong
    std::array<std::uint32_t, trackCount> weights_{};  // seconds that the mean of each track stands for
};

/// The busy shares of single processors, second by second, to half a percent.
class CoreHistory {
public:
    void add(std::uint32_t second, const std::vector<double>& shares);
    std::string block(std::uint32_t first, std::uint32_t last) const;
    std::string whole(std::uint32_t now) const;
    void take(const HistoryBlock& block);

private:
    std::optional<SlotRing<std::uint8_t>> ring_;  // as long as `mostCoreBytes` allow for so many processors
};

/// What is kept of the samples: an hour of seconds, a day of minutes, a fortnight of quarters of an hour, and of single
/// processors the last hour.
///
/// Seconds are those of the samples' own timestamps, which come from the wall clock: where it steps back, what is told
/// for a second that is there already replaces it. A second without a sample is a gap, unless the next sample follows
/// within three intervals: a sample stands for the time since the one before it.
///
/// At most 1.9 MiB: 29 tracks of 3,600 + 3 x 1,440 + 3 x 1,344 floats are 1.3 MiB, and the processors have half a MiB:
/// an hour for up to 145 of them, less for more. One thread at a time.
class SampleHistory {
public:
    static constexpr std::size_t mostCoreBytes = 512 * 1024;
    /// The parts that are kept each in a file of its own.
    enum class Part { seconds, minutes, quarters, cores };

    void add(const SystemSnapshot& sample, Seconds interval);

    /// The second of the latest sample; nullopt before the first.
    std::optional<std::uint32_t> newest() const { return newest_; }
    const HistoryTier& seconds() const { return tiers_[0]; }

    /// The past between two seconds in the finest resolution that reaches back so far and has at most an hour's number
    /// of slots there.
    std::string figures(std::uint32_t from, std::uint32_t to) const;
    std::string cores(std::uint32_t from, std::uint32_t to) const;

    std::string saved(Part part, std::uint32_t now) const;
    /// Returns why the bytes are no such part, for a person, and takes nothing then.
    std::optional<std::string> restore(Part part, std::string_view bytes);

private:
    std::array<HistoryTier, 3> tiers_{HistoryTier{1, 3600}, {60, 1440}, {900, 1344}};
    CoreHistory cores_;
    std::optional<std::uint32_t> newest_;
    std::optional<WallTime> timestamp_;
};
template <>
struct RawValues<SampleHistory::Part> {
    static constexpr std::array<std::string_view, 4> texts{"seconds", "minutes", "quarters", "cores"};
};

}  // namespace zqm
