#include "Client/History/HistoryFiles.h"

#include "Client/Texts.h"

namespace zqm {

using Part = SampleHistory::Part;

std::string HistoryFiles::nameOf(Part part) {
    return std::string(rawValue(part)) + ".zqmhist";
}

std::vector<std::string> HistoryFiles::load(SampleHistory& history) {
    std::vector<std::string> lines;
    for (const Part part : allCases<Part>()) {
        if (auto line = load(history, part)) lines.push_back(std::move(*line));
    }
    return lines;
}

std::optional<std::string> HistoryFiles::load(SampleHistory& history, Part part) {
    const std::string name = nameOf(part);
    const FileContent content = folder_.read(name);
    if (content.isMissing) return std::nullopt;
    const std::string file = folder_.path(name);
    std::string problem = content.problem;
    if (content.isForeign) problem = said("{} belongs to another user", file);
    if (problem.empty()) {
        auto fault = history.restore(part, *content.text);
        if (!fault) return std::nullopt;
        problem = file + ": " + *fault;
    }
    const auto failure = folder_.setAside(name);
    isLeftAlone_[static_cast<std::size_t>(part)] = failure.has_value();
    return failure
               ? said("{}; it cannot be set aside ({}), so this part of the history is not saved", problem, *failure)
               : said("{}; set aside as {}", problem, file + ".damaged");
}

std::optional<std::string> HistoryFiles::save(Part part, std::string_view bytes) {
    if (isLeftAlone_[static_cast<std::size_t>(part)]) return std::nullopt;
    return folder_.replace(nameOf(part), bytes);
}

}  // namespace zqm
