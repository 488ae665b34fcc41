#include "Platform/Posix/PosixProcess.h"

#if __has_include(<malloc.h>)
#include <malloc.h>
#endif
#include <signal.h>
#include <sys/resource.h>

#include <algorithm>

namespace zqm {

void ignoreWriteSignals() {
    ::signal(SIGPIPE, SIG_IGN);
    ::signal(SIGXFSZ, SIG_IGN);
}

void shareOneHeap() {
#if defined(M_ARENA_MAX)
    ::mallopt(M_ARENA_MAX, 1);
#endif
}

void raiseDescriptorLimit() {
    constexpr rlim_t enough = 16384;
    rlimit files{};
    if (::getrlimit(RLIMIT_NOFILE, &files) != 0) return;
    if (files.rlim_cur == RLIM_INFINITY || files.rlim_cur >= enough) return;
    files.rlim_cur = files.rlim_max == RLIM_INFINITY ? enough : std::min(enough, files.rlim_max);
    ::setrlimit(RLIMIT_NOFILE, &files);
}

}  // namespace zqm
