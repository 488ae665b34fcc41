#pragma once

#include "Platform/Process/SystemSettings.h"

namespace zqm {

/// The process's environment. A shared container is a private directory below the user's data directory
/// ("XDG_DATA_HOME", "~/.local/share" by default).
class PosixSettings : public SystemSettings {
public:
    SharedContainer sharedContainer(std::string_view identifier) override;
    std::optional<std::string> environment(std::string_view name) override;

    /// The directory without making it; nullopt when the user has no home.
    static std::optional<std::string> containerPath(std::string_view identifier);
};

}  // namespace zqm
