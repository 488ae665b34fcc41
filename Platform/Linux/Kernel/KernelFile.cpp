#include "Platform/Linux/Kernel/KernelFile.h"

#include <fcntl.h>
#include <linux/magic.h>
#include <sys/stat.h>
#include <sys/vfs.h>

#include <algorithm>
#include <cerrno>

#include "Platform/Linux/Kernel/KernelText.h"

namespace zqm {
namespace {

constexpr std::size_t sizeOfNumber = 128;  // most files hold one; there are hundreds, and small buffers stay in caches
constexpr std::size_t sizeOfTable = 4096;
constexpr std::size_t maximumSize = std::size_t{4} << 20;
constexpr std::size_t surelyWhole =
    1024;                              // of a page of 4096; the longest record, a processor's, has less than the rest
constexpr unsigned eagerAttempts = 3;  // a file that fails is tried again on the next reads, then only now and then
constexpr unsigned attemptEvery = 30;

bool showsThePresent(int descriptor) {
    struct statfs information {};
    if (::fstatfs(descriptor, &information) != 0) return false;
    return information.f_type == PROC_SUPER_MAGIC || information.f_type == SYSFS_MAGIC;
}

}  // namespace

std::optional<std::string_view> KernelFile::read() {
    if (failures_ >= eagerAttempts && failures_ % attemptEvery != 0) {
        ++failures_;
        return std::nullopt;
    }
    std::optional<std::size_t> size;
    if (file_ && !isReplaced()) size = fill();
    // The device behind an open file may have gone and come back (ENODEV): one fresh start before giving up.
    if (!size && open()) size = fill();
    if (!size) file_.reset();
    failures_ = size ? 0 : failures_ + 1;
    if (!size) return std::nullopt;
    return std::string_view(buffer_).substr(0, *size);
}

bool KernelFile::open() {
    int descriptor = -1;
    do {
        // O_NONBLOCK: a fifo in the file's place must not hold the sampling thread.
        descriptor = ::open(path_.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
    } while (descriptor < 0 && errno == EINTR);
    file_.reset(descriptor);
    if (!file_) return false;
    mayBeReplaced_ = !showsThePresent(descriptor);
    return true;
}

/// Whether the open file was removed, or another one renamed over it.
bool KernelFile::isReplaced() const {
    struct stat information {};
    return mayBeReplaced_ && (::fstat(file_.get(), &information) != 0 || information.st_nlink == 0);
}

/// Reads to the end. The kernel gives a long table in pieces, each a page filled with as many whole lines as fit: a
/// piece that leaves room for another record is the last, and no further read is spent on learning that.
std::optional<std::size_t> KernelFile::fill() {
    std::size_t size = 0;
    while (true) {
        if (size == buffer_.size()) {
            if (size >= maximumSize) return std::nullopt;
            buffer_.resize(size == 0 ? sizeOfNumber : std::max(sizeOfTable, size * 2));
        }
        const ssize_t count =
            ::pread(file_.get(), buffer_.data() + size, buffer_.size() - size, static_cast<off_t>(size));
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) return std::nullopt;
        if (count == 0) return size;
        size += static_cast<std::size_t>(count);
        if (size < surelyWhole && size < buffer_.size()) return size;
    }
}

std::optional<std::uint64_t> readCount(KernelFile& file) {
    std::string_view rest = file.read().value_or("");
    auto line = takeLine(rest);
    return line ? takeCount(*line) : std::nullopt;
}

}  // namespace zqm
