#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <tuple>

#include "ZQMHelper/Shared/SettingsStore.h"

namespace zqm {

/// The preferences in a file that may change while the program runs. Main thread only: it sets the program's language.
class LiveSettings {
public:
    /// `complain` is told, line by line, what of the file cannot be used, each time it is read.
    LiveSettings(std::string file, std::function<void(const std::string&)> complain)
        : file_(std::move(file)), complain_(std::move(complain)) {}

    /// As the file has them now; the same object as long as it has not changed.
    std::shared_ptr<const SettingsStore> now();

private:
    /// What tells one state of the file from another: its number, size and time of change. Zeros: there is none.
    using Stamp = std::tuple<std::uint64_t, std::int64_t, std::int64_t>;

    Stamp stamp() const;

    const std::string file_;
    const std::function<void(const std::string&)> complain_;
    Stamp read_{};
    std::shared_ptr<const SettingsStore> settings_;
};

}  // namespace zqm
