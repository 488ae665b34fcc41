#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace zqm {

/// A directory, or why there is none: its path and the reason.
struct SharedContainer {
    std::optional<std::string> path{};
    std::string problem{};
};

/// Places, texts and switches that the system keeps for this process. Callable from any thread.
class SystemSettings {
public:
    virtual ~SystemSettings() = default;
    /// The directory that the helper shares with the programs of its group, made when missing.
    virtual SharedContainer sharedContainer(std::string_view identifier) = 0;
    virtual std::optional<std::string> environment(std::string_view name) = 0;
};

}  // namespace zqm
