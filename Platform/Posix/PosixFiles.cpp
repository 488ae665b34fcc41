#include "Platform/Posix/PosixFiles.h"

#include <fcntl.h>
#include <stdio.h>
#include <sys/file.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <exception>
#include <thread>
#include <utility>

#include "Platform/Posix/Descriptor.h"
#include "Platform/Posix/Problem.h"
#include "Support/Hexadecimal.h"

namespace zqm {
namespace {

using namespace std::chrono_literals;

constexpr std::size_t maximumSize = 1024 * 1024;
constexpr auto lockPatience = 2s;
constexpr auto lockPause = 10ms;

/// Repeats a call that a signal interrupted.
template <class Call>
auto uninterrupted(Call call) {
    auto result = call();
    while (result < 0 && errno == EINTR) result = call();
    return result;
}

bool writeAll(int file, std::string_view content) {
    while (!content.empty()) {
        const auto written = uninterrupted([&] { return ::write(file, content.data(), content.size()); });
        if (written <= 0) return false;
        content.remove_prefix(static_cast<std::size_t>(written));
    }
    return true;
}

bool flush(int file) {
    return uninterrupted([&] { return ::fsync(file); }) == 0;
}

/// Whether the whole content is on the disk; `errno` tells why not.
bool store(Descriptor file, mode_t mode, std::string_view content) {
    const bool complete =
        (mode == 0600 || ::fchmod(file.get(), mode) == 0) && writeAll(file.get(), content) && flush(file.get());
    return complete && ::close(file.release()) == 0;
}

/// Makes the new name last; a directory that cannot be flushed keeps it until the next power failure at least.
void flushDirectory(const std::string& directory) {
    const Descriptor opened(::open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (opened) flush(opened.get());
}

std::string directoryOf(const std::string& file) {
    const std::size_t end = file.rfind('/');
    return end == std::string::npos ? "." : file.substr(0, end + 1);
}

}  // namespace

std::optional<std::string> PosixFiles::read(const std::string& file) {
    // O_NONBLOCK: a named pipe in the file's place is refused, not waited for.
    const Descriptor opened(::open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    struct stat status {};
    if (!opened || ::fstat(opened.get(), &status) != 0 || !S_ISREG(status.st_mode)) return std::nullopt;
    std::string content;
    std::array<char, 4096> block;
    for (;;) {
        const auto count = uninterrupted([&] { return ::read(opened.get(), block.data(), block.size()); });
        if (count < 0) return std::nullopt;
        if (count == 0) return content;
        content.append(block.data(), static_cast<std::size_t>(count));
        if (content.size() > maximumSize) return std::nullopt;
    }
}

std::optional<std::string> PosixFiles::replace(const std::string& file, std::string_view content) {
    return replaceAs(file, content, 0600);
}

std::optional<std::string> PosixFiles::replacePublic(const std::string& file, std::string_view content) {
    struct stat status {};
    if (::lstat(file.c_str(), &status) == 0 && !S_ISREG(status.st_mode)) return file + ": not a regular file";
    return replaceAs(file, content, 0644);
}

std::optional<std::string> PosixFiles::replaceAs(const std::string& file, std::string_view content, mode_t mode) {
    const std::string temporary = file + "." + makeUuid() + ".tmp";
    Descriptor opened(::open(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
    if (!opened) return problemWith(file, errno);
    if (!store(std::move(opened), mode, content) || ::rename(temporary.c_str(), file.c_str()) != 0) {
        const int error = errno;
        ::unlink(temporary.c_str());
        return problemWith(file, error);
    }
    flushDirectory(directoryOf(file));
    return std::nullopt;
}

void PosixFiles::exclusively(const std::string& directory, const std::function<void()>& body) {
    // The lock goes with the descriptor, also when the process dies.
    const Descriptor opened(::open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    const auto deadline = std::chrono::steady_clock::now() + lockPatience;
    while (opened && ::flock(opened.get(), LOCK_EX | LOCK_NB) != 0) {
        if ((errno != EWOULDBLOCK && errno != EINTR) || std::chrono::steady_clock::now() >= deadline) break;
        std::this_thread::sleep_for(lockPause);
    }
    body();
}

std::string PosixFiles::makeUuid() {
    std::array<std::uint8_t, 16> bytes;
    // Without randomness there are no secrets, and a guessable one would be worse than none.
    if (::getentropy(bytes.data(), bytes.size()) != 0) std::terminate();
    bytes[6] = static_cast<std::uint8_t>((bytes[6] & 0x0F) | 0x40);  // version 4: random
    bytes[8] = static_cast<std::uint8_t>((bytes[8] & 0x3F) | 0x80);  // the variant of RFC 4122
    std::string text;
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        if (i == 4 || i == 6 || i == 8 || i == 10) text += '-';
        appendHexadecimal(text, bytes[i], upperHexadecimal);
    }
    return text;
}

}  // namespace zqm
