#pragma once

#include "Platform/Posix/Descriptor.h"

namespace zqm {

/// Descriptors that are waited for together, as the kernel keeps them: one that waits costs the process no memory.
/// Empty with `errno` set when there is none. It is readable itself while one of its descriptors is.
Descriptor openReadinessSet();
/// Waits until `descriptor` can be read or has ended, and names it `tag` then, once. Whether the system keeps it.
bool addToReadinessSet(int set, int descriptor, void* tag);
/// Before `descriptor` is closed, which alone does not end the wait while a child process is being started.
void removeFromReadinessSet(int set, int descriptor);
/// The tag of one that is ready, and no longer waited for; null when none is. Does not block.
void* takeReady(int set);

}  // namespace zqm
