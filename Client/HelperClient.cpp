#include "Client/HelperClient.h"

#include <nlohmann/json.hpp>
#include <utility>

#include "Client/Texts.h"
#include "Client/Units.h"
#include "Platform/Posix/LocalClient.h"
#include "Platform/UserServices.h"
#include "Support/Text.h"
#include "ZQMHelper/AccessToken.h"
#include "ZQMHelper/UsualPort.h"

namespace zqm {
namespace {

using Outcome = LocalReply::Outcome;

constexpr std::size_t mostReply = 4 * 1024 * 1024;

/// Whether there is a sample at all: before its first one the helper serves a record of zeros.
bool isSampled(const SystemSnapshot& snapshot) {
    return snapshot.memory.totalBytes > 0 || !snapshot.cpu.perCoreUsage.empty();
}

/// How to come to a helper, as the end of a message.
std::string wayToHelper(std::uint16_t port) {
    if (isUnderSudo()) return std::string(said("; this is root's home, under sudo yours is not looked at"));
    if (const std::string command = serviceStartCommand(); !command.empty()) {
        return said("; start it with: {}", command);
    }
    auto program = findProgram("ZQMHelper");
    if (!program) return {};
    if (port != usualPort) *program += " --port " + std::to_string(port);
    return said("; start it with: {}", *program);
}

std::variant<std::string, HelperError> readToken(std::uint16_t port) {
    const auto container = sharedContainerPath(appGroup);
    if (!container) return HelperError{ExitStatus::helperAway, said("there is no home directory to find the token in")};
    const OwnFile file = readOwnFile(tokenFile(*container));
    if (file.isMissing)
        return HelperError{ExitStatus::helperAway,
                           said("the helper has not run yet: it has left no token{}", wayToHelper(port))};
    if (!file.text) return HelperError{ExitStatus::tokenRefused, file.problem};
    const std::string token(trimWhitespace(*file.text));
    if (!token.empty() && isValidUtf8(token) && !tokenFault(token)) return token;
    return HelperError{ExitStatus::tokenRefused,
                       said("the token's file does not hold a token; delete it and start the helper again")};
}

/// Whether the helper ended, with its process for example, before its answer did.
bool isCutOff(std::string_view head, std::string_view body) {
    constexpr std::string_view name = "\r\nContent-Length: ";
    const std::size_t found = head.find(name);
    if (found == std::string_view::npos) return false;
    std::string_view rest = head.substr(found + name.size());
    const auto length = parseUnsigned(takeUntil(rest, '\r'));
    return length && body.size() < *length;
}

std::variant<std::string, HelperError> bodyOf(std::string_view response) {
    constexpr std::string_view end = "\r\n\r\n";
    const std::size_t head = response.find(end);
    std::string_view rest = response;
    const std::string_view protocol = takeWord(rest);
    const std::string_view status = takeWord(rest);
    if (head != std::string_view::npos && protocol == "HTTP/1.1") {
        const std::string_view body = response.substr(head + end.size());
        if (isCutOff(response.substr(0, head), body))
            return HelperError{ExitStatus::helperAway, said("the answer broke off")};
        if (status == "200") return std::string(body);
        if (status == "403") return HelperError{ExitStatus::tokenRefused, said("the helper refuses the token")};
        if (status == "404")
            return HelperError{ExitStatus::otherVersion, said("the helper does not know the question")};
    }
    return HelperError{ExitStatus::otherVersion, said("what listens there does not answer as the helper does")};
}

}  // namespace

std::variant<std::string, HelperError> HelperClient::get(std::string_view path, Seconds patience) const {
    auto token = readToken(port_);
    if (auto* error = std::get_if<HelperError>(&token)) return std::move(*error);
    std::string request = "GET ";
    request += path;
    request += " HTTP/1.1\r\nX-ZQM-Token: " + std::get<std::string>(token) + "\r\n\r\n";
    const LocalReply reply = askLoopback(port_, request, patience, mostReply);
    const std::string place = "127.0.0.1:" + std::to_string(port_);
    switch (reply.outcome) {
        case Outcome::complete:
            return bodyOf(reply.bytes);
        case Outcome::absent:
            return HelperError{ExitStatus::helperAway, said("no helper listens on {}{}", place, wayToHelper(port_))};
        case Outcome::foreign:
            return HelperError{ExitStatus::helperAway, said("another user's program listens on {}; set ZQM_PORT to a "
                                                            "port of your own for the helper and zephlon",
                                                            place)};
        case Outcome::silent:
            return HelperError{ExitStatus::helperSilent, said("the helper on {} does not answer", place)};
        case Outcome::broken:
            return HelperError{ExitStatus::helperAway, said("the answer on {} broke off", place)};
        case Outcome::tooLarge:
            break;
    }
    return HelperError{ExitStatus::otherVersion, said("the answer on {} has no end", place)};
}

HelperAnswer HelperClient::snapshot(Seconds patience) const {
    auto body = get("/api/snapshot", patience);
    if (auto* error = std::get_if<HelperError>(&body)) return std::move(*error);
    const std::string& text = std::get<std::string>(body);
    const HelperError starting{ExitStatus::helperAway, said("the helper is still starting: there is no sample yet"),
                               true};
    if (text.starts_with(R"({"error":)")) return starting;  // its engine does not run yet
    auto decoded = decodeReply(text);
    if (auto* error = std::get_if<DecodeError>(&decoded)) {
        return HelperError{ExitStatus::otherVersion, said("the helper is of another version: {}", error->message)};
    }
    auto& reply = std::get<SnapshotReply>(decoded);
    if (!isSampled(reply.snapshot)) return starting;
    return std::move(reply);
}

HelperAnswer HelperClient::freshSnapshot(Seconds interval) const {
    auto reply = snapshot();
    const auto* told = std::get_if<SnapshotReply>(&reply);
    if (!told || !ageIfOld(told->snapshot, interval, wallTimeNow())) return reply;
    return HelperError{ExitStatus::helperSilent, said("the helper's latest sample is older than three intervals")};
}

std::optional<std::string> uploadProblem(std::string_view reply) {
    const auto json = nlohmann::json::parse(reply, nullptr, false);
    if (json.is_object() && json.value("status", nlohmann::json()) == "sent") return std::nullopt;
    const auto error = json.is_object() ? json.value("error", nlohmann::json()) : nlohmann::json();
    return error.is_string() ? error.get<std::string>() : said("the helper's reply is not known");
}

}  // namespace zqm
