#include "Platform/Linux/Processes/ProcessFiles.h"

#include <fcntl.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>

#include "Platform/Posix/Descriptor.h"

namespace zqm {

ProcessPath::ProcessPath(std::int32_t pid, std::string_view file) {
    constexpr std::size_t longestNumber = 11;
    char* end = std::to_chars(text_.data(), text_.data() + longestNumber, pid).ptr;
    *end++ = '/';
    std::copy_n(file.data(), std::min<std::size_t>(file.size(), 16), end);
}

std::optional<std::int32_t> parseProcessNumber(std::string_view text) {
    if (text.empty() || text.front() < '1' || text.front() > '9') return std::nullopt;
    std::int32_t pid = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), pid);
    if (error != std::errc{} || end != text.data() + text.size()) return std::nullopt;
    return pid;
}

std::optional<std::string_view> readProcessFile(int directory, const char* path, std::span<char> buffer) {
    // O_NONBLOCK: below another root a fifo may lie in the file's place.
    const Descriptor file(::openat(directory, path, O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
    if (!file) return std::nullopt;
    ssize_t count;
    do {
        count = ::read(file.get(), buffer.data(), buffer.size());
    } while (count < 0 && errno == EINTR);
    if (count < 0) return std::nullopt;
    return std::string_view(buffer.data(), static_cast<std::size_t>(count));
}

DirectoryStream openDirectory(int directory, const char* path) {
    Descriptor opened(::openat(directory, path, O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!opened) return nullptr;
    DirectoryStream stream(::fdopendir(opened.get()));
    if (stream) static_cast<void>(opened.release());  // the stream's now
    return stream;
}

bool isRefusal(int error) {
    return error == EACCES || error == EPERM;
}

bool showsOwnNumbers(int directory) {
    std::array<char, 16> link;
    const ssize_t size = ::readlinkat(directory, "self", link.data(), link.size());
    return size > 0 && parseProcessNumber({link.data(), static_cast<std::size_t>(size)}) == ::getpid();
}

std::uint64_t processorTime(std::int32_t pid) {
    // What clock_getcpuclockid(3) makes of a number, with one call of the kernel less.
    constexpr std::uint32_t scheduledTime = 2;
    const auto clock = static_cast<clockid_t>(~static_cast<std::uint32_t>(pid) << 3 | scheduledTime);
    timespec time{};
    if (::clock_gettime(clock, &time) != 0) return 0;
    return static_cast<std::uint64_t>(time.tv_sec) * 1'000'000'000 + static_cast<std::uint64_t>(time.tv_nsec);
}

}  // namespace zqm
