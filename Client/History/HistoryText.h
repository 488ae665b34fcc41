#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Client/History/HistoryBlock.h"
#include "Client/Watch/Graph.h"
#include "Support/RawValue.h"
#include "ZQMHelper/Shared/SettingsStore.h"

/// The past of tracks as text. Pure.
namespace zqm {

enum class HistoryFormat { text, csv, json };
template <>
struct RawValues<HistoryFormat> {
    static constexpr std::array<std::string_view, 3> texts{"text", "csv", "json"};
};

/// "90s", "10m", "6h" or "3d" in seconds; nullopt for anything else, 0, and more than a fortnight.
std::optional<std::uint32_t> parseSpan(std::string_view text);

/// What of the block is to be written.
struct HistoryChoice {
    const HistoryBlock& block;
    std::vector<std::size_t> tracks;
};

/// A curve and its least, mean, greatest and last value for each track; `columns` wide at most.
std::string historyText(const HistoryChoice& choice, const SettingsStore& settings, std::size_t columns, Glyphs glyphs);

/// A line for each slot, its time in UTC first; empty where nothing is known.
std::string historyCsv(const HistoryChoice& choice);

/// One line; null where nothing is known.
std::string historyJson(const HistoryChoice& choice);

}  // namespace zqm
