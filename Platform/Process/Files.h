#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace zqm {

/// Small private files of the user, by their paths. Callable from any thread; never throws.
class Files {
public:
    virtual ~Files() = default;
    /// The whole file, at most 1 MiB; nullopt when it cannot be read.
    virtual std::optional<std::string> read(const std::string& file) = 0;
    /// Replaces the file whole or not at all: written to a temporary file beside it that is created exclusively with
    /// mode 0600, flushed, then renamed. Returns the path and why it could not be written ("PATH: No space left on
    /// device"), with nothing left behind, or nullopt when it was.
    virtual std::optional<std::string> replace(const std::string& file, std::string_view content) = 0;
    /// Runs `body` while no other process does the same for the same directory. Runs it all the same when the lock
    /// cannot be had within two seconds.
    virtual void exclusively(const std::string& directory, const std::function<void()>& body) = 0;
    /// A random UUID: upper-case hexadecimal digits in groups of 8, 4, 4, 4 and 12.
    virtual std::string makeUuid() = 0;
};

}  // namespace zqm
