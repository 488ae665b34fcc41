#pragma once

#include <sys/types.h>

#include "Platform/Process/Files.h"

namespace zqm {

/// Regular files only; `exclusively` locks the directory itself, so that no lock file is left lying about.
class PosixFiles final : public Files {
public:
    FileContent read(const std::string& file) override;
    std::optional<std::string> replace(const std::string& file, std::string_view content) override;
    std::optional<std::string> update(const std::string& file, std::string_view content) override;
    /// Like `replace`, for everyone to read (mode 0644, whatever the umask). Only regular files are replaced, not a
    /// device or a link.
    std::optional<std::string> replacePublic(const std::string& file, std::string_view content);
    void remove(const std::string& file) override;
    void removeLeftovers(const std::string& file) override;
    void exclusively(const std::string& directory, const std::function<void(bool isAlone)>& body) override;
    std::string makeUuid() override;

private:
    std::optional<std::string> replaceAs(const std::string& file, std::string_view content, mode_t mode);
};

}  // namespace zqm
