#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "Platform/Process/Files.h"

namespace zqm {

/// A folder of the user's for files of one purpose, private like they are, and made with the first of them. One thread
/// at a time; never throws.
class Folder {
public:
    virtual ~Folder() = default;
    virtual std::string path(std::string_view name) const = 0;
    /// The whole file, at most 1 MiB.
    virtual FileContent read(std::string_view name) = 0;
    /// Replaces the file whole or not at all; returns its path and why it could not be written, or nullopt.
    virtual std::optional<std::string> replace(std::string_view name, std::string_view content) = 0;
    /// Gives the file another name, "NAME.damaged", in place of what has it; returns why that failed, or nullopt.
    virtual std::optional<std::string> setAside(std::string_view name) = 0;
    virtual void remove(std::string_view name) = 0;
};

}  // namespace zqm
