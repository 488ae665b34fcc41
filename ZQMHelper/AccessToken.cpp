#include "ZQMHelper/AccessToken.h"

#include "Platform/Files.h"
#include "Support/Text.h"

namespace zqm {
namespace {

std::string readToken(const std::filesystem::path& file, Files& files) {
    const auto content = files.read(file);
    return content && isValidUtf8(*content) ? std::string(trimWhitespace(*content)) : std::string();
}

}  // namespace

std::string loadOrCreateToken(const std::filesystem::path& container, Files& files) {
    const auto file = container / "helper-token";
    std::string token = readToken(file, files);
    if (!token.empty()) return token;
    files.exclusively(container, [&] {
        token = readToken(file, files);  // another helper may have been first
        if (!token.empty()) return;
        token = files.makeUuid();
        files.replace(file, token);
    });
    return token;
}

}  // namespace zqm
