#include <unistd.h>

#include <algorithm>

#include "Platform/Linux/LinuxMachine.h"
#include "Support/Text.h"
#include "fuzz/WholeMachine.h"
#include "tests/fakes/TemporaryTree.h"

// Any files below /proc, /sys and /etc as a machine on which the whole helper runs. In the input "@" begins the path of
// a file, a line its content; "=" on a line of its own what changes after the first second; content that begins with
// "-> " is the target of a link.

namespace zqm {
namespace {

/// Whether a path stays below its directory and is short.
bool isHarmless(std::string_view path) {
    const auto isPlain = [](unsigned char c) { return std::isalnum(c) != 0 || std::strchr("_-.:,/", c) != nullptr; };
    return path.size() < 100 && std::count(path.begin(), path.end(), '/') < 12 && path.find("..") == path.npos &&
           !path.starts_with('/') && std::all_of(path.begin(), path.end(), isPlain);
}

void writeFile(const TemporaryTree& tree, std::string_view path, std::string_view content) {
    if (path.starts_with('/')) path.remove_prefix(1);
    const bool isBelow = path.starts_with("proc/") || path.starts_with("sys/") || path.starts_with("etc/");
    if (!isBelow || !isHarmless(path) || path.ends_with('/')) return;
    const std::string target(content.substr(0, content.find('\n')));
    try {
        if (!target.starts_with("-> ")) return tree.write(path, content);
        if (!isHarmless(target.substr(3)) && !target.starts_with("-> socket:[")) return;
        tree.write(path, "");
        tree.remove(path);
        std::filesystem::create_symlink(target.substr(3), tree.path(path));
    } catch (const std::filesystem::filesystem_error&) {
        return;  // a file stands where a directory would have to, or the other way round
    }
}

void writeFiles(const TemporaryTree& tree, std::string_view files) {
    while (!files.empty()) {
        const std::size_t next = std::min(files.find("\n@"), files.size() - 1) + 1;
        auto content = files.substr(0, next);
        const auto path = takeUntil(content, '\n');
        writeFile(tree, path.substr(path.starts_with('@') ? 1 : 0), content);
        files.remove_prefix(next);
    }
}

}  // namespace
}  // namespace zqm

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace zqm;
    if (size == 0) return 0;
    const auto input = textOf(data, size);
    const std::size_t end = std::min(input.find("\n=\n"), size - 1) + 1;  // of the first second's files
    const TemporaryTree tree;
    writeFiles(tree, input.substr(0, end));
    FakePlatform fakes;
    LinuxMachine machine(tree.root(), fakes.clock);
    checkSamples(machine, fakes, [&] { writeFiles(tree, input.substr(std::min(end + 2, size))); });
    return 0;
}
