#pragma once

#include "Platform/Process/SystemSettings.h"

namespace zqm {

/// The process's environment. A shared container is a private directory below the user's data directory
/// ("XDG_DATA_HOME", "~/.local/share" by default).
class PosixSettings final : public SystemSettings {
public:
    SharedContainer sharedContainer(std::string_view identifier) override;
    std::optional<std::string> environment(std::string_view name) override;
};

}  // namespace zqm
