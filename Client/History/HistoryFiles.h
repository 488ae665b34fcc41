#pragma once

#include <array>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Client/History/SampleHistory.h"
#include "Platform/Process/Folder.h"

namespace zqm {

/// The history in a folder of the user's, each part in a file of its own that is replaced whole. One thread at a time.
class HistoryFiles {
public:
    explicit HistoryFiles(Folder& folder) : folder_(folder) {}

    /// Takes over what the files hold. One that is torn, or of another kind, is set aside under another name; one that
    /// cannot even be moved is left alone, and that part is not saved. Returns a line about each, for a person.
    std::vector<std::string> load(SampleHistory& history);

    /// Returns why the part was not saved, for a person, or nullopt.
    std::optional<std::string> save(SampleHistory::Part part, std::string_view bytes);

    static std::string nameOf(SampleHistory::Part part);

private:
    std::optional<std::string> load(SampleHistory& history, SampleHistory::Part part);

    Folder& folder_;
    std::array<bool, allCases<SampleHistory::Part>().size()> isLeftAlone_{};
};

}  // namespace zqm
