#include "fuzz/WholeMachine.h"

// Any bytes as the description of a machine: refused in one line, or a machine on which the whole helper runs.

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace zqm;
    FakePlatform fakes;
    const auto result = DescribedMachine::parse(textOf(data, size), fakes.clock);
    if (const auto* fault = std::get_if<MachineFault>(&result)) {
        require(!fault->message.empty(), "a refusal has a reason");
        return 0;
    }
    const auto& machine = std::get<std::unique_ptr<DescribedMachine>>(result);
    checkSamples(*machine, fakes, [] {});
    require(machine->liveHandles() == 0, "every handle is given back");
    return 0;
}
