#pragma once

#include <string>

#include "Platform/Posix/PosixFiles.h"
#include "Platform/Process/Folder.h"

namespace zqm {

class PosixFolder final : public Folder {
public:
    explicit PosixFolder(std::string path) : path_(std::move(path)) {}

    std::string path(std::string_view name) const override;
    FileContent read(std::string_view name) override { return files_.read(path(name)); }
    std::optional<std::string> replace(std::string_view name, std::string_view content) override;
    std::optional<std::string> setAside(std::string_view name) override;
    void remove(std::string_view name) override { files_.remove(path(name)); }

private:
    const std::string path_;
    PosixFiles files_;
};

}  // namespace zqm
