#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "Platform/Platform.h"

namespace zqm {

/// The group whose programs share the container in which the token lies.
constexpr std::string_view appGroup = "Q4T7LWX2PN.xyz.tallvek.Zephlon";
/// The path of the token's file in the container.
std::string tokenFile(std::string_view container);
/// Why no client can send this token in a request; nullopt when one can.
std::optional<std::string_view> tokenFault(std::string_view token);

/// The installation's token: the text of its file in the container without the white space around it. Main thread only.
///
/// When the file is missing, unreadable, not UTF-8 or blank, a new random UUID is made and written there; helpers that
/// start at the same moment agree on one. When it cannot be written, the new token serves this run alone. Standard
/// error is told that with the reason, and also of a token that no client can send or that other users may know.
class AccessToken {
public:
    AccessToken(std::string_view container, Files& files);

    const std::string& text() const { return text_; }
    bool isFileMissing() const;
    /// Writes the file anew, unless another helper has been faster.
    void putBack() const;
    /// Removes the file if this run has made it and it holds this token still.
    void withdraw() const;

private:
    void create();

    std::string container_;
    std::string file_;
    Files& files_;
    std::string text_;
    bool isNew_ = false;
};

}  // namespace zqm
