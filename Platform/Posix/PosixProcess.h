#pragma once

namespace zqm {

/// What `main` settles for the whole process before it starts anything.

/// Makes writing to a reader that is gone, or beyond a limit of file sizes, an ordinary error instead of the end of the
/// process.
void ignoreWriteSignals();

/// Keeps one heap for all threads: their allocations are few and short, and a heap for each of them fragments by itself
/// and never gives back what an upload once took.
void shareOneHeap();

/// Raises the number of files that the process may open towards what the system allows it, so that thousands of
/// silent clients fit. Child processes inherit it; the bound keeps those quick that close every possible descriptor.
void raiseDescriptorLimit();

}  // namespace zqm
