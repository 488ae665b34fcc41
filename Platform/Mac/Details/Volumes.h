#pragma once

#include <vector>

#include "Platform/Mac/Libraries/LibSystem.h"
#include "Platform/Machine/MachineDetails.h"

namespace zqm {

/// The volumes on drives that people keep files on, sorted, with what the system last knew of them: none is asked
/// itself, so none that hangs is waited for. Of those that share the room of one APFS container, as a system's do, the
/// one with the shortest path. Left out is what the system hides (its other volumes, simulators), and what cannot be
/// written and is full by nature (disk images, optical discs), but for the system's own at "/", whose container can.
std::vector<FileSystem> readVolumes(const DetailCalls& calls);

}  // namespace zqm
