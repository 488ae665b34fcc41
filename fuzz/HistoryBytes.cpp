#include <algorithm>
#include <string>

#include "Client/History/SampleHistory.h"
#include "fuzz/Fuzzing.h"

// Any bytes as a part of the history, also with the checksum that belongs to them: refused with a reason, or taken over
// so that what is written of it reads the same from then on.

namespace zqm {
namespace {

void restore(SampleHistory::Part part, const std::string& bytes) {
    SampleHistory history;
    if (const auto problem = history.restore(part, bytes)) {
        require(!problem->empty(), "a refusal has a reason");
        return;
    }
    const BlockShape shape = std::get<HistoryBlock>(readBlock(bytes)).shape;
    const std::uint64_t end = (std::uint64_t{shape.first} + shape.count) * shape.period;
    if (end > 4000000000) return;  // years after the last that a sample may have
    const auto now = static_cast<std::uint32_t>(end);
    const std::string written = history.saved(part, now);
    SampleHistory again;
    require(!again.restore(part, written), "what was written can be read");
    require(again.saved(part, now) == written, "the second writing is the first");
    for (const std::string& answer :
         {history.figures(0, now), history.figures(now, 0xFFFFFFFF), history.cores(0, now)}) {
        require(std::holds_alternative<HistoryBlock>(readBlock(answer)), "an answer can be read");
    }
    SystemSnapshot sample;
    sample.timestamp = WallTime(Seconds(now));
    sample.cpu.perCoreUsage = {0.5};
    history.add(sample, Seconds(1));
    require(history.newest() == now, "it goes on");
}

std::string withChecksum(std::string_view content) {
    std::uint64_t sum = 0xCBF29CE484222325;
    for (const char byte : content) sum = (sum ^ static_cast<std::uint8_t>(byte)) * 0x100000001B3;
    std::string bytes(content);
    for (int i = 0; i < 8; ++i) bytes += static_cast<char>(sum >> (8 * i) & 0xFF);
    return bytes;
}

}  // namespace
}  // namespace zqm

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace zqm;
    auto input = textOf(data, size);
    const auto part = allCases<SampleHistory::Part>()[takeChoice(input, 4)];
    restore(part, std::string(input));
    restore(part, withChecksum(input));
    return 0;
}
