#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <variant>

#include "Client/ListenAddress.h"

/// Who may ask the page's server for what. Pure.
namespace zqm {

enum class WebRoute { page, now, history, cores, sources };

/// A request that is to be answered.
struct WebQuestion {
    WebRoute route = WebRoute::page;
    std::uint32_t from = 0, to = 0;  // seconds since 1970, of the history
    bool isHead = false;
};

/// What may be asked, and by whom.
struct WebAccess {
    ListenAddress address;
    std::string key;
};

/// The question, or the status line of the refusal.
///
/// The host that the client believes to talk to must be this machine's loopback or the address that is listened on: a
/// site that binds its own name to 127.0.0.1 would otherwise be taken for the page by the browser. What comes from
/// another site by the browser's own word gets nothing, but for a link to the page, which holds no figures. Everything
/// but the page wants the key.
std::variant<WebQuestion, std::string_view> webQuestion(std::string_view request, const WebAccess& access);

/// A whole response that no browser keeps, frames, guesses the type of or hands to another site. `policy` is what its
/// document may do.
std::string webResponse(std::string_view status, std::string_view type, std::string_view body,
                        std::string_view policy = "default-src 'none'");

}  // namespace zqm
