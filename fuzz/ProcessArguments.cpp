#include <cstring>
#include <string>

#include "Platform/Mac/Details/ProcessFacts.h"
#include "fuzz/Fuzzing.h"

// Any bytes as a Mac's record of a process's arguments, of which those that are counted must be told and no more: what
// stands behind them is the environment.

namespace zqm {
namespace {

std::string argumentsModel(std::string_view record) {
    std::int32_t count = 0;
    if (record.size() < sizeof count) return {};
    std::memcpy(&count, record.data(), sizeof count);
    std::size_t at = sizeof count;
    while (at < record.size() && record[at] != '\0') ++at;
    while (at < record.size() && record[at] == '\0') ++at;
    std::string arguments;
    for (std::int32_t i = 0; i < count && at < record.size(); ++i, ++at) {
        if (i > 0) arguments += ' ';
        while (at < record.size() && record[at] != '\0') arguments += record[at++];
    }
    while (arguments.ends_with(' ')) arguments.pop_back();
    return arguments;
}

}  // namespace
}  // namespace zqm

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace zqm;
    constexpr std::size_t most = 4096;
    const std::string arguments = argumentsIn(textOf(data, size));
    const std::string model = argumentsModel(textOf(data, size));
    require(arguments.size() <= most && model.starts_with(arguments), "what is told are the arguments");
    require(model.size() > most || arguments == model, "all of them are told");
    return 0;
}
