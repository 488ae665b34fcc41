#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "Platform/Posix/Descriptor.h"

namespace zqm {

/// A file of the kernel that is read on every tick: kept open, read from its beginning each time into one buffer.
///
/// On procfs and sysfs an open file always shows the present. On another file system (a recorded machine, a container's
/// imitation of /proc) files get replaced: an open file without a name left is opened again.
/// A file that is missing is looked for on the first reads and then on every 30th, so that it costs nothing and is
/// still found when it appears. One thread at a time.
class KernelFile {
public:
    explicit KernelFile(std::string path) : path_(std::move(path)) {}

    /// The whole content, valid until the next call; nullopt when there is no such file, it cannot be read, or it holds
    /// more than 4 MiB. Never waits for a writer.
    std::optional<std::string_view> read();
    const std::string& path() const { return path_; }
    /// Whether what was read last came from procfs or sysfs itself.
    bool isOfKernel() const { return file_ && !mayBeReplaced_; }

private:
    bool open();
    bool isReplaced() const;
    std::optional<std::size_t> fill();

    std::string path_;
    Descriptor file_;
    bool mayBeReplaced_ = false;
    unsigned failures_ = 0;  // reads without a result since the last good one
    std::string buffer_;
};

/// The count that the file's first line begins with; nullopt when there is none.
std::optional<std::uint64_t> readCount(KernelFile& file);

}  // namespace zqm
