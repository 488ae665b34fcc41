#include <algorithm>
#include <map>

#include "ZQMHelper/Shared/CommandOutput.h"
#include "fuzz/CommandModel.h"
#include "fuzz/Fuzzing.h"
#include "fuzz/Utf8Model.h"

// Any text as the output of lsof, whose owners must be those that counting line by line gives.

namespace zqm {
namespace {

std::string nameModel(const std::string& printed) {
    const std::string digits = "0123456789abcdef";
    const auto digit = [&](std::size_t at) {
        const char c = at < printed.size() ? printed[at] : ' ';
        return digits.find(c >= 'A' && c <= 'F' ? static_cast<char>(c - 'A' + 'a') : c);
    };
    if (printed.find("\\x") == std::string::npos) return printed;
    std::string bytes;
    for (std::size_t i = 0; i < printed.size(); ++i) {
        const bool isEscape = printed.compare(i, 2, "\\x") == 0 && digit(i + 2) < 16 && digit(i + 3) < 16;
        bytes += isEscape ? static_cast<char>(digit(i + 2) * 16 + digit(i + 3)) : printed[i];
        if (isEscape) i += 3;
    }
    return decodedModel(bytes);
}

}  // namespace
}  // namespace zqm

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace zqm;
    const auto output = textOf(data, size);
    std::map<std::int32_t, std::pair<std::uint64_t, std::string>> expected;
    for (const std::string& line : pieces(output, "\n")) {
        const auto fields = pieces(line, " ");
        const auto pid = fields.size() < 2 ? std::nullopt : pidModel(fields[1]);
        if (!pid) continue;
        auto& [sockets, name] = expected[*pid];
        ++sockets;
        name = nameModel(fields[0]);
    }
    const auto owners = parseSocketOwners(output);
    require(owners.size() == expected.size(), "every process is there once");
    for (const SocketOwner& owner : owners) {
        const auto found = expected.find(owner.pid);
        require(found != expected.end(), "only processes of the lines are there");
        require(owner.sockets == found->second.first, "every line counts");
        require(owner.name == found->second.second, "the name is that of the last line, unescaped");
    }
    return 0;
}
