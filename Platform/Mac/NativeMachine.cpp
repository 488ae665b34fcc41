#include "Platform/Mac/MacMachine.h"
#include "Platform/Mac/SystemLibraries.h"
#include "Platform/Posix/PosixClock.h"

namespace zqm {
namespace {

class ThisMachine final : public Machine {
public:
    MachineServices services() override { return machine_.services(); }
    MachineDetails* details() override { return machine_.details(); }

private:
    SystemLibraries libraries_;
    PosixClock clock_;
    MacMachine machine_{libraries_, clock_};
};

}  // namespace

bool nativeMachineHasRoot() {
    return false;
}

std::unique_ptr<Machine> makeNativeMachine(std::string_view) {
    return std::make_unique<ThisMachine>();
}

}  // namespace zqm
