#include "Platform/Posix/PosixFiles.h"

#include <fcntl.h>
#include <stdio.h>
#include <sys/file.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <exception>
#include <filesystem>
#include <thread>
#include <utility>

#include "Platform/Posix/Descriptor.h"
#include "Platform/Posix/Problem.h"
#include "Platform/UserServices.h"
#include "Support/Hexadecimal.h"

namespace zqm {
namespace {

using namespace std::chrono_literals;

constexpr std::size_t maximumSize = 1024 * 1024;
constexpr const char* tooLarge = ": larger than 1 MiB";
constexpr mode_t permissions = 07777;
constexpr std::string_view temporaryEnd = ".tmp";
constexpr std::size_t uuidLength = 36;
constexpr time_t leftoverAge = 60;  // seconds: no writer takes that long
constexpr int mostLinks = 40;       // in a row; more are a circle
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

/// Onto the disk itself, not only into its cache.
bool flush(int file) {
#if defined(F_FULLFSYNC)
    if (::fcntl(file, F_FULLFSYNC) == 0) return true;  // else a volume that knows only the other call
#endif
    return uninterrupted([&] { return ::fsync(file); }) == 0;
}

/// Whether the whole content is on the disk; `errno` tells why not.
bool store(Descriptor file, mode_t mode, std::string_view content) {
    const bool complete = ::fchmod(file.get(), mode) == 0 && writeAll(file.get(), content) && flush(file.get());
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

/// Where the symbolic links that stand in the file's place lead, whether or not there is anything.
std::string linkTarget(std::filesystem::path file) {
    for (int i = 0; i < mostLinks; ++i) {
        std::error_code none;
        const auto next = std::filesystem::read_symlink(file, none);
        if (none) break;
        file = file.parent_path() / next;
    }
    return file.string();
}

/// Whether the name is that of a temporary file for one whose name is `file`.
bool isTemporary(std::string_view name, std::string_view file) {
    return name.size() == file.size() + 1 + uuidLength + temporaryEnd.size() && name.starts_with(file) &&
           name[file.size()] == '.' && name.ends_with(temporaryEnd);
}

std::array<std::uint8_t, 16> randomBytes() {
    std::array<std::uint8_t, 16> bytes;
    // Without randomness there are no secrets, and a guessable one would be worse than none.
    if (::getentropy(bytes.data(), bytes.size()) != 0) std::terminate();
    return bytes;
}

bool isLeftover(const std::string& file) {
    struct stat status {};
    return ::lstat(file.c_str(), &status) == 0 && S_ISREG(status.st_mode) && status.st_uid == ::geteuid() &&
           ::time(nullptr) - status.st_mtime > leftoverAge;
}

}  // namespace

std::string newSecret() {
    std::string text;
    for (const std::uint8_t byte : randomBytes()) appendHexadecimal(text, byte);
    return text;
}

FileContent PosixFiles::read(const std::string& file) {
    FileContent content;
    const auto failed = [&](std::string problem) {
        content.problem = std::move(problem);
        return content;
    };
    // O_NONBLOCK: a named pipe in the file's place is refused, not waited for.
    const Descriptor opened(::open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    content.isMissing = !opened && errno == ENOENT;
    struct stat status {};
    if (!opened || ::fstat(opened.get(), &status) != 0) return failed(problemWith(file, errno));
    content.isOpenToOthers = (status.st_mode & (S_IRGRP | S_IROTH)) != 0;
    content.isForeign = status.st_uid != ::geteuid();
    if (!S_ISREG(status.st_mode)) return failed(file + ": not a regular file");
    std::string text;
    std::array<char, 4096> block;
    for (;;) {
        const auto count = uninterrupted([&] { return ::read(opened.get(), block.data(), block.size()); });
        if (count < 0) return failed(problemWith(file, errno));
        if (count == 0) break;
        text.append(block.data(), static_cast<std::size_t>(count));
        if (text.size() > maximumSize) return failed(file + tooLarge);
    }
    content.text = std::move(text);
    return content;
}

std::optional<std::string> PosixFiles::replace(const std::string& file, std::string_view content) {
    return replaceAs(file, content, 0600);
}

std::optional<std::string> PosixFiles::update(const std::string& file, std::string_view content) {
    if (content.size() > maximumSize) return file + tooLarge;
    const std::string target = linkTarget(file);
    struct stat status {};
    const bool exists = ::stat(target.c_str(), &status) == 0;
    return replaceAs(target, content, exists ? status.st_mode & permissions : 0600);
}

std::optional<std::string> PosixFiles::replacePublic(const std::string& file, std::string_view content) {
    struct stat status {};
    if (::lstat(file.c_str(), &status) == 0 && !S_ISREG(status.st_mode)) return file + ": not a regular file";
    return replaceAs(file, content, 0644);
}

std::optional<std::string> PosixFiles::replaceAs(const std::string& file, std::string_view content, mode_t mode) {
    removeLeftovers(file);
    std::string temporary = file + "." + makeUuid();
    temporary += temporaryEnd;
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

void PosixFiles::remove(const std::string& file) {
    ::unlink(file.c_str());
}

void PosixFiles::removeLeftovers(const std::string& file) {
    const std::filesystem::path target = linkTarget(file);
    const std::string name = target.filename();
    std::error_code error;
    std::filesystem::directory_iterator entry(directoryOf(target.string()), error);
    for (; !error && entry != std::filesystem::directory_iterator(); entry.increment(error)) {
        const std::string path = entry->path();
        if (isTemporary(entry->path().filename().native(), name) && isLeftover(path)) ::unlink(path.c_str());
    }
}

void PosixFiles::exclusively(const std::string& directory, const std::function<void(bool isAlone)>& body) {
    // The lock goes with the descriptor, also when the process dies.
    const Descriptor opened(::open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    const auto deadline = std::chrono::steady_clock::now() + lockPatience;
    bool isAlone = true;
    while (opened && ::flock(opened.get(), LOCK_EX | LOCK_NB) != 0) {
        if (errno != EWOULDBLOCK && errno != EINTR) break;
        isAlone = std::chrono::steady_clock::now() < deadline;
        if (!isAlone) break;
        std::this_thread::sleep_for(lockPause);
    }
    body(isAlone);
}

std::string PosixFiles::makeUuid() {
    auto bytes = randomBytes();
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
