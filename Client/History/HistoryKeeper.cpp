#include "Client/History/HistoryKeeper.h"

#include "Client/Terminal.h"
#include "Client/Texts.h"

namespace zqm {

HistoryKeeper::HistoryKeeper(std::unique_ptr<Folder> folder, Log& log) : log_(log), folder_(std::move(folder)) {
    const MutexLock holdFiles(saving_);
    if (!folder_) {
        log.print("zephlon: " + said("there is no home directory: the history is not saved"));
        return;
    }
    files_.emplace(*folder_);
    const MutexLock hold(mutex_);
    for (const std::string& line : files_->load(history_)) log.print("zephlon: " + printable(line));
}

void HistoryKeeper::add(const SystemSnapshot& sample, Seconds interval) {
    const MutexLock hold(mutex_);
    history_.add(sample, interval);
}

std::optional<std::pair<std::uint32_t, Figures>> HistoryKeeper::latest() const {
    const MutexLock hold(mutex_);
    const auto second = history_.newest();
    if (!second) return std::nullopt;
    Figures figures{};
    for (std::size_t i = 0; i < trackCount; ++i) {
        figures[i] = history_.seconds().value(static_cast<Track>(i), *second);
    }
    return std::pair(*second, figures);
}

std::string HistoryKeeper::figures(std::uint32_t from, std::uint32_t to) const {
    const MutexLock hold(mutex_);
    return history_.figures(from, to);
}

std::string HistoryKeeper::cores(std::uint32_t from, std::uint32_t to) const {
    const MutexLock hold(mutex_);
    return history_.cores(from, to);
}

void HistoryKeeper::save() {
    const MutexLock holdFiles(saving_);
    const auto newest = [this] {
        const MutexLock hold(mutex_);
        return history_.newest();
    }();
    if (!files_ || !newest || newest == saved_) return;
    std::string problem;
    for (const auto part : allCases<SampleHistory::Part>()) {
        const std::string bytes = [&] {
            const MutexLock hold(mutex_);
            return history_.saved(part, *newest);
        }();
        if (auto failure = files_->save(part, bytes)) problem = std::move(*failure);
    }
    if (problem.empty()) saved_ = newest;
    if (problem != problem_) {
        log_.print("zephlon: " + (problem.empty() ? said("the history is saved again")
                                                  : said("the history is not saved: {}", printable(problem))));
    }
    problem_ = std::move(problem);
}

}  // namespace zqm
