#pragma once

#include <sys/types.h>

#include "Platform/Process/Files.h"

namespace zqm {

/// Regular files only; `exclusively` locks the directory itself, so that no lock file is left lying about.
class PosixFiles final : public Files {
public:
    std::optional<std::string> read(const std::filesystem::path& file) override;
    bool replace(const std::filesystem::path& file, std::string_view content) override;
    /// The same, for everyone to read (mode 0644, whatever the umask). Only regular files are replaced, not a device or
    /// a link.
    bool replacePublic(const std::filesystem::path& file, std::string_view content);
    void exclusively(const std::filesystem::path& directory, const std::function<void()>& body) override;
    std::string makeUuid() override;

private:
    bool replaceAs(const std::filesystem::path& file, std::string_view content, mode_t mode);
};

}  // namespace zqm
