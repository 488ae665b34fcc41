#pragma once

#include <optional>
#include <string>

#include "Client/Web/WebGate.h"
#include "Platform/Process/Folder.h"

/// How this user's programs find the page's server that runs: a private file with its address and key, and a private
/// page that leads a browser there, so that the key stands on no command line.
namespace zqm {

/// "http://127.0.0.1:9933/#KEY".
std::string webUrl(const WebAccess& access);

/// While it lives the files are there.
class WebDoor {
public:
    /// What cannot be written is told by `problem`.
    WebDoor(Folder& folder, const WebAccess& access);
    ~WebDoor();
    WebDoor(const WebDoor&) = delete;
    WebDoor& operator=(const WebDoor&) = delete;

    const std::optional<std::string>& problem() const { return problem_; }

private:
    Folder& folder_;
    const std::string content_;
    std::optional<std::string> problem_;
};

/// The page that leads to the server, for a browser to open.
std::string webDoorPage(const Folder& folder);

/// What runs, as its file says; nullopt where there is none, or none of this user's.
std::optional<WebAccess> openWebDoor(Folder& folder);

/// Whether a server there can be asked from this machine, which is done on 127.0.0.1 alone.
bool isAskable(const ListenAddress& address);

/// Asks the server that runs; nullopt where it does not answer, for example since it was killed.
std::optional<std::string> askWeb(const WebAccess& access, const std::string& target);

}  // namespace zqm
