#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Platform/Linux/Kernel/KernelFile.h"
#include "Platform/Machine/SourceReport.h"

namespace zqm {

/// The directory below which a machine's /proc and /sys lie: "/" for this one. Paths given to it begin with "/".
/// For questions asked once or rarely; what is read on every tick is a KernelFile. Callable from any thread.
class RootDirectory {
public:
    explicit RootDirectory(std::string_view directory);

    /// Whether this is the machine that the program runs on, so that the kernel may be asked as well.
    bool isThisMachine() const { return directory_.empty(); }
    std::string path(std::string_view below) const { return directory_ + std::string(below); }
    bool exists(std::string_view below) const;
    /// A small file without the white space and control characters at its ends; nullopt when it cannot be read.
    std::optional<std::string> text(std::string_view below) const;
    std::optional<std::uint64_t> number(std::string_view below) const;
    /// The names in a directory that begin with `prefix`, sorted; empty when it cannot be read.
    std::vector<std::string> names(std::string_view below, std::string_view prefix) const;
    /// For a person: the path below the root, and why the file cannot be read now, if it cannot.
    SourceDescription describe(std::string_view below) const;
    SourceDescription describe(const KernelFile& file) const;
    /// The file's path below the root.
    std::string place(const KernelFile& file) const { return file.path().substr(directory_.size()); }

private:
    std::string directory_;  // without the solidus at its end
};

}  // namespace zqm
