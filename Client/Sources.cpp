#include "Client/Sources.h"

#include <chrono>

#include "Client/Texts.h"
#include "Platform/Posix/LocalClient.h"

namespace zqm {
namespace {

constexpr Seconds patience(10);

/// All that the child writes; nothing when it has not ended in time.
std::string outputOf(Child& child) {
    const auto deadline = std::chrono::steady_clock::now() + patience;
    std::string output;
    for (Seconds left = patience; left > Seconds(0); left = deadline - std::chrono::steady_clock::now()) {
        const auto piece = child.read(left);
        if (!piece) return output;
        output += *piece;
    }
    return {};
}

}  // namespace

std::variant<std::string, SourcesError> sourcesTable(Commands& commands) {
    const auto program = findProgram("ZQMHelper");
    if (!program) {
        return SourcesError{
            said("there is no {} beside zephlon or on PATH; install it with zephlon or extend PATH", "ZQMHelper")};
    }
    const auto child = commands.launch(*program, {"--sources"});
    std::string table = child ? outputOf(*child) : std::string();
    if (table.empty()) return SourcesError{said("{} --sources prints no table; run it by hand to see why", *program)};
    return table;
}

}  // namespace zqm
