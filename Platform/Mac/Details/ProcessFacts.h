#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "Platform/Mac/MacSysctl.h"
#include "Platform/Machine/MachineDetails.h"

namespace zqm {

/// The arguments of a process with blanks between them, from the record KERN_PROCARGS2: their number, the program's
/// path, NUL bytes, then arguments and the environment, each with a NUL byte at its end. At most 4096 bytes of them;
/// none when the record is cut before they begin.
std::string argumentsIn(std::string_view record);

/// nullopt when there is no such process, or the kernel does not tell. Arguments are told of the user's own processes
/// alone (to root, of all); others get their name, of which the kernel keeps 16 bytes.
std::optional<ProcessFacts> readProcess(MacSysctl& sysctl, std::int32_t pid);

}  // namespace zqm
