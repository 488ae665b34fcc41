#include "Client/History/HistoryFiles.h"

#include <filesystem>

#include "Client/Texts.h"
#include "Platform/Posix/PosixFiles.h"
#include "Platform/Posix/UserDirectories.h"

namespace zqm {

using Part = SampleHistory::Part;

std::string HistoryFiles::path(Part part) const {
    return pathBelow(folder_, std::string(rawValue(part)) + ".zqmhist");
}

std::vector<std::string> HistoryFiles::load(SampleHistory& history) {
    std::vector<std::string> lines;
    for (const Part part : allCases<Part>()) {
        if (auto line = load(history, part)) lines.push_back(std::move(*line));
    }
    return lines;
}

std::optional<std::string> HistoryFiles::load(SampleHistory& history, Part part) {
    const std::string file = path(part);
    const FileContent content = PosixFiles().read(file);
    if (content.isMissing) return std::nullopt;
    std::string problem = content.problem;
    if (content.isForeign) problem = said("{} belongs to another user", file);
    if (problem.empty()) {
        auto fault = history.restore(part, *content.text);
        if (!fault) return std::nullopt;
        problem = file + ": " + *fault;
    }
    std::error_code error;
    const std::string aside = file + ".damaged";
    std::filesystem::rename(file, aside, error);
    isLeftAlone_[static_cast<std::size_t>(part)] = static_cast<bool>(error);
    return error ? said("{}; it cannot be set aside ({}), so this part of the history is not saved", problem,
                        error.message())
                 : said("{}; set aside as {}", problem, aside);
}

std::optional<std::string> HistoryFiles::save(Part part, std::string_view bytes) {
    if (isLeftAlone_[static_cast<std::size_t>(part)]) return std::nullopt;
    if (auto problem = makePrivateDirectory(folder_)) return problem;
    return PosixFiles().replace(path(part), bytes);
}

}  // namespace zqm
