#include "ZQMHelper/AccessToken.h"

#include <cstdio>

#include "Platform/Process/Files.h"
#include "Support/Text.h"

namespace zqm {
namespace {

std::string readToken(const std::string& file, Files& files) {
    const auto content = files.read(file).text;
    return content && isValidUtf8(*content) ? std::string(trimWhitespace(*content)) : std::string();
}

}  // namespace

std::string tokenFile(std::string_view container) {
    return std::string(container) + "/helper-token";
}

std::string loadOrCreateToken(const std::string& container, Files& files) {
    const auto file = tokenFile(container);
    std::string token = readToken(file, files);
    if (!token.empty()) return token;
    files.exclusively(container, [&](bool) {
        token = readToken(file, files);  // another helper may have been first
        if (!token.empty()) return;
        token = files.makeUuid();
        const auto problem = files.replace(file, token);
        if (!problem) return;
        std::fprintf(stderr, "[ZQMHelper] %s; the new token serves until the end only\n", problem->c_str());
    });
    return token;
}

}  // namespace zqm
