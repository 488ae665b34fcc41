#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "Platform/Mac/DynamicLibraries.h"
#include "Platform/Posix/PosixSettings.h"

namespace zqm {

/// Where the system keeps what the programs of an application group share; nullopt when it tells of no such place.
/// Whoever is not entitled to the group may be told of it all the same, and be refused there. Any thread.
std::optional<std::string> groupContainer(DynamicLibraries& libraries, std::string_view identifier);

/// The process's environment, and the containers of application groups.
class MacSettings final : public PosixSettings {
public:
    explicit MacSettings(DynamicLibraries& libraries) : libraries_(libraries) {}
    SharedContainer sharedContainer(std::string_view identifier) override;

private:
    DynamicLibraries& libraries_;
};

}  // namespace zqm
