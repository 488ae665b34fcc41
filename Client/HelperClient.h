#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

#include "Client/ExitStatus.h"
#include "Platform/Process/Clock.h"
#include "ZQMHelper/Shared/MetricsJson.h"

namespace zqm {

/// Why the helper gave no answer: one line for a person, without the token, and the command's exit status.
struct HelperError {
    ExitStatus status = ExitStatus::failure;
    std::string message;
    bool isStarting = false;  // it answers, but has no sample yet
};

/// What the helper answered when it was asked for its snapshot of now.
using HelperAnswer = std::variant<SnapshotReply, HelperError>;

/// Asks the user's helper on 127.0.0.1, one connection per question. Every call blocks for a bounded time and reads the
/// token anew, since a helper may have made another one. One thread at a time.
class HelperClient {
public:
    explicit HelperClient(std::uint16_t port) : port_(port) {}

    /// The latest snapshot, decoded strictly. Before its first sample the helper has none.
    HelperAnswer snapshot(Seconds patience = usualPatience) const;

    /// The same for readers that would take an old sample for one of now: refuses what `ageIfOld` calls old.
    HelperAnswer freshSnapshot(Seconds interval) const;

    /// The body that a route answers.
    std::variant<std::string, HelperError> get(std::string_view path, Seconds patience = usualPatience) const;

    static constexpr Seconds usualPatience{3};

private:
    std::uint16_t port_;
};

/// Why an upload failed, by the reply of its route; nullopt when it was sent.
std::optional<std::string> uploadProblem(std::string_view reply);

}  // namespace zqm
