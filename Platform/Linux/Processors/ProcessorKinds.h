#pragma once

#include <map>
#include <span>
#include <string>
#include <vector>

#include "Platform/Linux/Kernel/RootDirectory.h"
#include "Platform/Machine/MachineReadings.h"

namespace zqm {

constexpr unsigned processorNumberLimit = 8192;  // the largest number of processors that a kernel is built for

/// The kind of each processor of `numbers` (the kernel's numbers), in that order; all performance where the machine
/// does not clearly have more than one kind. The sources, best first: the lists of a hybrid machine, the scheduler's
/// capacities, the frequencies.
std::vector<ProcessorKind> readProcessorKinds(const RootDirectory& root, std::span<const unsigned> numbers);

/// The file that tells them apart; where none does, the one that would.
SourceDescription describeProcessorKinds(const RootDirectory& root, std::span<const unsigned> numbers);

/// The directory of each processor's frequency files, which need not exist: that of its policy, or its own.
std::map<unsigned, std::string> frequencyDirectories(const RootDirectory& root, std::span<const unsigned> numbers);

}  // namespace zqm
