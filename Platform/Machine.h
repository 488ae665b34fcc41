#pragma once

#include <memory>
#include <string_view>

#include "Platform/Platform.h"

namespace zqm {

class MachineDetails;

/// Where a machine's services come from: the machine that the program runs on, or one described in a file.
class Machine {
public:
    virtual ~Machine() = default;
    /// They live as long as the machine.
    virtual MachineServices services() = 0;
    /// What people ask besides; null: nothing of that kind is told. Lives as long as the machine.
    virtual MachineDetails* details() { return nullptr; }
};

// The backend that is linked in supplies these.

/// Whether the machine that the program runs on is read through files, so that they can lie elsewhere.
bool nativeMachineHasRoot();

/// The machine that the program runs on. `root` takes the place of "/" where there is a root.
std::unique_ptr<Machine> makeNativeMachine(std::string_view root);

}  // namespace zqm
