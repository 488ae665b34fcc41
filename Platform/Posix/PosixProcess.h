#pragma once

namespace zqm {

/// What `main` settles for the whole process before it starts anything.

/// Puts /dev/null on those of the descriptors 0 to 2 that the caller has closed, before anything else can land on them;
/// reading and writing fail there as before.
void fillStandardStreams();

/// Makes writing to a reader that is gone, or beyond a limit of file sizes, an ordinary error instead of the end of the
/// process.
void ignoreWriteSignals();

/// Keeps one heap for all threads: their allocations are few and short, and a heap for each of them fragments by itself
/// and never gives back what an upload once took.
void shareOneHeap();

/// Gives the system back what an idle process does not need: free pages of the heap, and the pages of program code,
/// which are copies of files and come back from there when they are run again. After a burst of rare work (TLS) most of
/// a process's memory is that. Any thread.
void giveBackIdleMemory();

/// Raises the number of files that the process may open towards what the system allows it, so that thousands of
/// silent clients fit. Child processes inherit it; the bound keeps those quick that close every possible descriptor.
void raiseDescriptorLimit();

}  // namespace zqm
