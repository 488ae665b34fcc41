#include "ZQMHelper/AccessToken.h"

#include <algorithm>
#include <cstdio>

#include "Platform/Process/Files.h"
#include "Support/Text.h"

namespace zqm {
namespace {

constexpr std::size_t longestToken = 4096;  // bytes; leaves room in a request for what clients add

std::string tokenIn(const FileContent& content) {
    return content.text && isValidUtf8(*content.text) ? std::string(trimWhitespace(*content.text)) : std::string();
}

void tell(const std::string& file, std::string_view what) {
    std::fprintf(stderr, "[ZQMHelper] %s: %.*s\n", file.c_str(), static_cast<int>(what.size()), what.data());
}

}  // namespace

std::string tokenFile(std::string_view container) {
    return std::string(container) + "/helper-token";
}

std::optional<std::string_view> tokenFault(std::string_view token) {
    const auto isControl = [](unsigned char c) { return c < ' ' || c == 0x7F; };
    if (token.starts_with("\xEF\xBB\xBF")) return "begins with a byte order mark";
    if (std::any_of(token.begin(), token.end(), isControl)) return "holds line ends or other control characters";
    if (token.size() > longestToken) return "is longer than 4096 bytes";
    return std::nullopt;
}

AccessToken::AccessToken(std::string_view container, Files& files)
    : container_(container), file_(tokenFile(container)), files_(files) {
    files_.removeLeftovers(file_);
    const auto content = files_.read(file_);
    text_ = tokenIn(content);
    if (text_.empty()) {
        create();
        return;
    }
    if (content.isOpenToOthers) tell(file_, "other users may read the token; chmod 600 keeps it private");
    if (content.isForeign) tell(file_, "the token belongs to another user; delete it and start the helper again");
    const auto fault = tokenFault(text_);
    if (fault) tell(file_, "no client can send a token that " + std::string(*fault) + "; delete it and start again");
}

void AccessToken::create() {
    files_.exclusively(container_, [&](bool) {
        text_ = tokenIn(files_.read(file_));  // another helper may have been first
        if (!text_.empty()) return;
        text_ = files_.makeUuid();
        const auto problem = files_.replace(file_, text_);
        isNew_ = !problem;
        if (!problem) return;
        std::fprintf(stderr, "[ZQMHelper] %s; the new token serves until the end only\n", problem->c_str());
    });
}

bool AccessToken::isFileMissing() const {
    return files_.read(file_).isMissing;
}

void AccessToken::putBack() const {
    files_.exclusively(container_, [&](bool) {
        if (isFileMissing()) files_.replace(file_, text_);
    });
}

void AccessToken::withdraw() const {
    if (!isNew_) return;
    files_.exclusively(container_, [&](bool) {
        if (tokenIn(files_.read(file_)) == text_) files_.remove(file_);
    });
}

}  // namespace zqm
