#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "Platform/Linux/Kernel/RootDirectory.h"
#include "Platform/Machine/MachineDetails.h"

namespace zqm {

/// The mount points of file systems on drives in the text of /proc/PID/mountinfo, sorted; of one that is mounted in
/// several places (a bind mount, a subvolume) the shortest. Images (squashfs, ISO 9660) are full by nature and are left
/// out, as is what lies in memory or on other machines.
std::vector<std::string> mountPoints(std::string_view mounts);

/// Those of this machine as this process sees it; below another root, whose mounts are not here, none.
std::vector<FileSystem> readFileSystems(const RootDirectory& root);

}  // namespace zqm
