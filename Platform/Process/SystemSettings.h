#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace zqm {

/// Places, texts and switches that the system keeps for this process. Callable from any thread.
class SystemSettings {
public:
    virtual ~SystemSettings() = default;
    /// The path of the directory that the helper shares with the programs of its group, made when missing; nullopt when
    /// there is none and none can be made.
    virtual std::optional<std::string> sharedContainer(std::string_view identifier) = 0;
    virtual std::optional<std::string> environment(std::string_view name) = 0;
};

}  // namespace zqm
