#pragma once

#include "Platform/Linux/Details/GraphicsUsers.h"
#include "Platform/Machine/MachineDetails.h"

namespace zqm {

/// What a Linux machine tells people besides its figures.
class LinuxDetails final : public MachineDetails {
public:
    LinuxDetails(const RootDirectory& root, Clock& clock) : graphicsUsers_(root, clock) {}

    std::vector<GraphicsUser> graphicsUsers() override { return graphicsUsers_.read(); }

private:
    GraphicsUsers graphicsUsers_;
};

}  // namespace zqm
