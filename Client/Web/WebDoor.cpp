#include "Client/Web/WebDoor.h"

#include <nlohmann/json.hpp>

#include "Platform/Posix/LocalClient.h"
#include "Support/Json.h"

namespace zqm {
namespace {

constexpr Seconds patience{1};
constexpr std::string_view doorName = "web.json";
constexpr std::string_view pageName = "web.html";
constexpr std::size_t mostAnswer = 8 * 1024 * 1024;

std::string contentFor(const WebAccess& access) {
    JsonWriter json;
    json.beginObject();
    json.key("address");
    json.value(std::string_view(access.address.text()));
    json.key("key");
    json.value(std::string_view(access.key));
    json.endObject();
    return json.take() + "\n";
}

}  // namespace

std::string webUrl(const WebAccess& access) {
    ListenAddress address = access.address;
    if (address.host == "0.0.0.0") address.host = "127.0.0.1";
    if (address.host == "::") address.host = "::1";
    return "http://" + address.text() + "/#" + access.key;
}

WebDoor::WebDoor(Folder& folder, const WebAccess& access) : folder_(folder), content_(contentFor(access)) {
    problem_ = folder_.replace(doorName, content_);
    if (problem_) return;
    // No script: browsers keep a page of a file from much, but not from leading on.
    problem_ = folder_.replace(pageName,
                               "<!DOCTYPE html><meta charset=\"utf-8\"><title>Zephlon</title>"
                               "<meta http-equiv=\"refresh\" content=\"0;url=" +
                                   webUrl(access) + "\"><a href=\"" + webUrl(access) + "\">Zephlon</a>\n");
}

WebDoor::~WebDoor() {
    if (folder_.read(doorName).text != content_) return;  // another one's by now
    folder_.remove(doorName);
    folder_.remove(pageName);
}

std::string webDoorPage(const Folder& folder) {
    return folder.path(pageName);
}

std::optional<WebAccess> openWebDoor(Folder& folder) {
    const FileContent file = folder.read(doorName);
    const auto json = nlohmann::json::parse(file.isForeign ? "" : file.text.value_or(""), nullptr, false);
    const auto member = [&json](const char* name) {
        const auto value = json.is_object() ? json.value(name, nlohmann::json()) : nlohmann::json();
        return value.is_string() ? value.get<std::string>() : std::string();
    };
    const auto address = parseListenAddress(member("address"));
    const std::string key = member("key");
    const bool isKey = !key.empty() && key.find_first_not_of("0123456789abcdef") == std::string::npos;
    return address && isKey ? std::optional(WebAccess{*address, key}) : std::nullopt;
}

bool isAskable(const ListenAddress& address) {
    return address.host == "127.0.0.1" || address.host == "0.0.0.0" || address.host == "::";
}

std::optional<std::string> askWeb(const WebAccess& access, const std::string& target) {
    if (!isAskable(access.address)) return std::nullopt;
    const LocalReply reply = askLoopback(
        access.address.port,
        "GET " + target + " HTTP/1.1\r\nHost: localhost\r\nAuthorization: Bearer " + access.key + "\r\n\r\n", patience,
        mostAnswer);
    const std::size_t head = reply.bytes.find("\r\n\r\n");
    const bool isAnswer = reply.outcome == LocalReply::Outcome::complete && head != std::string::npos &&
                          reply.bytes.starts_with("HTTP/1.1 200 ");
    return isAnswer ? std::optional(reply.bytes.substr(head + 4)) : std::nullopt;
}

}  // namespace zqm
