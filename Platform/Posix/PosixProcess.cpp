#include "Platform/Posix/PosixProcess.h"

#if defined(__linux__) && !defined(ZQM_PLAIN_POSIX)
#include <link.h>
#include <malloc.h>
#elif defined(__APPLE__)
#include <malloc/malloc.h>
#endif
#include <fcntl.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <string_view>

namespace zqm {
namespace {

#if defined(__linux__) && !defined(ZQM_PLAIN_POSIX)
/// Whether the loader wrote into the object's code, which its file then does not hold.
bool isCodeChanged(const dl_phdr_info& object) {
    for (int i = 0; i < object.dlpi_phnum; ++i) {
        if (object.dlpi_phdr[i].p_type != PT_DYNAMIC) continue;
        const auto* entry = reinterpret_cast<const ElfW(Dyn)*>(object.dlpi_addr + object.dlpi_phdr[i].p_vaddr);
        for (; entry->d_tag != DT_NULL; ++entry) {
            if (entry->d_tag == DT_TEXTREL) return true;
            if (entry->d_tag == DT_FLAGS && (entry->d_un.d_val & DF_TEXTREL) != 0) return true;
        }
    }
    return false;
}

int giveBackCode(dl_phdr_info* object, std::size_t, void*) {
    const bool isOfKernel = std::string_view(object->dlpi_name).starts_with("linux-");  // its page has no file
    if (isOfKernel || isCodeChanged(*object)) return 0;
    const auto page = static_cast<std::uintptr_t>(::sysconf(_SC_PAGESIZE));
    for (int i = 0; i < object->dlpi_phnum; ++i) {
        const auto& segment = object->dlpi_phdr[i];
        if (segment.p_type != PT_LOAD || (segment.p_flags & PF_W) != 0) continue;
        const std::uintptr_t begin = (object->dlpi_addr + segment.p_vaddr) / page * page;
        const std::uintptr_t end = object->dlpi_addr + segment.p_vaddr + segment.p_memsz;
        ::madvise(reinterpret_cast<void*>(begin), end - begin, MADV_DONTNEED);
    }
    return 0;
}
#endif

}  // namespace

void fillStandardStreams() {
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        // The lowest free descriptor is this one. It is opened for what nobody does with it.
        if (::fcntl(stream, F_GETFD) < 0) ::open("/dev/null", stream == STDIN_FILENO ? O_WRONLY : O_RDONLY);
    }
}

void ignoreWriteSignals() {
    ::signal(SIGPIPE, SIG_IGN);
    ::signal(SIGXFSZ, SIG_IGN);
}

void shareOneHeap() {
#if defined(M_ARENA_MAX)
    ::mallopt(M_ARENA_MAX, 1);
#endif
}

void giveBackIdleMemory() {
#if defined(__linux__) && !defined(ZQM_PLAIN_POSIX)
#if defined(M_ARENA_MAX)
    ::malloc_trim(0);
#endif
    ::dl_iterate_phdr(giveBackCode, nullptr);
#elif defined(__APPLE__)
    ::malloc_zone_pressure_relief(nullptr, 0);  // code is the system's to take back there
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
