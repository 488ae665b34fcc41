#pragma once

#include "Platform/Files.h"

namespace zqm {

/// Regular files only; `exclusively` locks the directory itself, so that no lock file is left lying about.
class PosixFiles final : public Files {
public:
    std::optional<std::string> read(const std::filesystem::path& file) override;
    bool replace(const std::filesystem::path& file, std::string_view content) override;
    void exclusively(const std::filesystem::path& directory, const std::function<void()>& body) override;
    std::string makeUuid() override;
};

}  // namespace zqm
