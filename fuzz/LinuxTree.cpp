#include "Platform/Linux/LinuxMachine.h"
#include "fuzz/WholeMachine.h"
#include "tests/fakes/TreeText.h"

// Any files below /proc, /sys, /etc and /usr as machines on which the whole helper runs, in the form of TreeText.h. The
// corpus is tests/machines/.

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace zqm;
    for (const TreeText& text : parseTrees(textOf(data, size))) {
        const TemporaryTree tree;
        writeFiles(tree, text.moments.front().files);
        FakePlatform fakes;
        LinuxMachine machine(tree.root(), fakes.clock);
        std::size_t passed = 0;
        checkSamples(machine, fakes, [&] {
            if (++passed < text.moments.size()) writeFiles(tree, text.moments[passed].files);
        });
    }
    return 0;
}
