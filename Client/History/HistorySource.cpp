#include "Client/History/HistorySource.h"

#include "Client/History/HistoryFiles.h"
#include "Client/StateFolder.h"
#include "Client/Web/WebDoor.h"

namespace zqm {
namespace {

std::optional<std::string> fromServer(std::uint16_t port, std::uint32_t from, std::uint32_t to, HistoryRows rows) {
    const auto folder = stateFolder(port);
    const auto access = folder ? openWebDoor(*folder) : std::nullopt;
    if (!access) return std::nullopt;
    const std::string path = rows == HistoryRows::cores ? "/api/cores" : "/api/history";
    return askWeb(*access, path + "?from=" + std::to_string(from) + "&to=" + std::to_string(to));
}

std::string fromFiles(std::uint16_t port, std::uint32_t from, std::uint32_t to, HistoryRows rows) {
    const auto folder = historyFolder(port);
    if (!folder) return {};
    SampleHistory history;
    for (const auto part : allCases<SampleHistory::Part>()) {
        if ((part == SampleHistory::Part::cores) != (rows == HistoryRows::cores)) continue;
        // What is wrong with a file is its owner's to tell.
        if (const auto bytes = folder->read(HistoryFiles::nameOf(part)).text) history.restore(part, *bytes);
    }
    return rows == HistoryRows::cores ? history.cores(from, to) : history.figures(from, to);
}

}  // namespace

std::optional<HistoryBlock> pastBetween(std::uint16_t port, std::uint32_t from, std::uint32_t to, HistoryRows rows) {
    const auto served = fromServer(port, from, to, rows);
    auto read = readBlock(served ? *served : fromFiles(port, from, to, rows));
    auto* const block = std::get_if<HistoryBlock>(&read);
    const bool isKnown = block && !block->shape.names.empty() && block->shape.count > 0;
    return isKnown ? std::optional(std::move(*block)) : std::nullopt;
}

}  // namespace zqm
