#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "Client/History/HistoryFiles.h"
#include "Client/History/SampleHistory.h"
#include "Platform/Process/Log.h"
#include "Support/Mutex.h"

namespace zqm {

/// The history of a process that runs, with its files. Callable from any thread.
class HistoryKeeper {
public:
    /// Takes over what the folder holds, and tells the log what of that it cannot; without a folder nothing is saved.
    HistoryKeeper(std::unique_ptr<Folder> folder, Log& log);

    void add(const SystemSnapshot& sample, Seconds interval);

    /// The latest second and its figures; nullopt before the first sample.
    std::optional<std::pair<std::uint32_t, Figures>> latest() const;
    std::string figures(std::uint32_t from, std::uint32_t to) const;
    std::string cores(std::uint32_t from, std::uint32_t to) const;

    /// Writes the files, unless nothing has come since; samples are taken meanwhile. May wait for the disk. The log is
    /// told why that fails, once as long as the reason stays the same.
    void save();

private:
    Log& log_;
    const std::unique_ptr<Folder> folder_;
    mutable Mutex mutex_;
    SampleHistory history_ ZQM_GUARDED_BY(mutex_);
    Mutex saving_;  // taken before the other
    std::optional<HistoryFiles> files_ ZQM_GUARDED_BY(saving_);
    std::optional<std::uint32_t> saved_ ZQM_GUARDED_BY(saving_);  // the latest second that is on the disk
    std::string problem_ ZQM_GUARDED_BY(saving_);
};

}  // namespace zqm
