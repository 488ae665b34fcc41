#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "Platform/UserServices.h"
#include "ZQMHelper/Shared/SettingsStore.h"

namespace zqm {

/// The preferences, which may change while the program runs. Main thread only: it sets the program's language.
class LiveSettings {
public:
    /// `complain` is told, line by line, what of them cannot be used, each time they are read.
    LiveSettings(UserServices& user, std::function<void(const std::string&)> complain)
        : user_(user), complain_(std::move(complain)) {}

    /// As they are stored now; the same object as long as the system says that they have not changed.
    std::shared_ptr<const SettingsStore> now();

private:
    UserServices& user_;
    const std::function<void(const std::string&)> complain_;
    std::optional<std::string> state_;
    std::shared_ptr<const SettingsStore> settings_;
};

}  // namespace zqm
