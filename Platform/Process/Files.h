#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace zqm {

/// What a file holds, or why it cannot be read.
struct FileContent {
    std::optional<std::string> text{};
    std::string problem{};        // the path and why there is no text: "PATH: Permission denied"
    bool isMissing = false;       // there is no such file
    bool isOpenToOthers = false;  // others than its owner may read it
    bool isForeign = false;       // it belongs to another user
};

/// Small private files of the user, by their paths. Callable from any thread; never throws.
class Files {
public:
    virtual ~Files() = default;
    /// The whole file, at most 1 MiB.
    virtual FileContent read(const std::string& file) = 0;
    /// Replaces the file whole or not at all: written to a temporary file beside it that is created exclusively with
    /// mode 0600, flushed, then renamed. Returns the path and why it could not be written ("PATH: No space left on
    /// device"), with nothing left behind, or nullopt when it was.
    virtual std::optional<std::string> replace(const std::string& file, std::string_view content) = 0;
    /// The same for a file that people keep as they like: a symbolic link in its place is followed, and the file keeps
    /// its mode. At most 1 MiB.
    virtual std::optional<std::string> update(const std::string& file, std::string_view content) = 0;
    /// Removes a file if it is there and can be removed.
    virtual void remove(const std::string& file) = 0;
    /// Removes the temporary files that writers of `file`, of this user, left when they were killed a minute ago or
    /// earlier. Each writer does so too.
    virtual void removeLeftovers(const std::string& file) = 0;
    /// Runs `body` while no other process does the same for the same directory: `isAlone`. When another does not end
    /// within two seconds it runs all the same, not alone. A directory that cannot be locked has nobody to wait for.
    virtual void exclusively(const std::string& directory, const std::function<void(bool isAlone)>& body) = 0;
    /// A random UUID: upper-case hexadecimal digits in groups of 8, 4, 4, 4 and 12.
    virtual std::string makeUuid() = 0;
};

}  // namespace zqm
