#include "ZQMHelper/AccessToken.h"

#include <cstdio>

#include "Platform/Process/Files.h"
#include "Support/Text.h"

namespace zqm {
namespace {

std::string readToken(const std::filesystem::path& file, Files& files) {
    const auto content = files.read(file);
    return content && isValidUtf8(*content) ? std::string(trimWhitespace(*content)) : std::string();
}

}  // namespace

std::string loadOrCreateToken(const std::filesystem::path& container, Files& files) {
    const auto file = container / tokenFileName;
    std::string token = readToken(file, files);
    if (!token.empty()) return token;
    files.exclusively(container, [&] {
        token = readToken(file, files);  // another helper may have been first
        if (!token.empty()) return;
        token = files.makeUuid();
        if (files.replace(file, token)) return;
        std::fprintf(stderr, "[ZQMHelper] %s cannot be written; this token serves until the end only\n", file.c_str());
    });
    return token;
}

}  // namespace zqm
