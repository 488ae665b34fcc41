#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "Platform/Process/Clock.h"

namespace zqm {

struct HttpRequest {
    std::string url;  // "https://host[:port]/path"
    std::string method = "GET";
    std::string contentType;  // sent as "Content-Type" when not empty
    std::string body;
    bool wantsAnswerBody = true;  // else it is dropped as it comes, however long it is
    Seconds timeout{60};          // for the whole request, from its start to the last byte of the answer
};

struct HttpReply {
    /// Description of the failure in general words, which anybody may read: it names no host, proxy, user or file. The
    /// request then has no usable answer.
    std::optional<std::string> error;
    std::optional<int> status;  // absent when the answer was not HTTP
    std::string body;           // at most 64 KiB
};

/// The shared HTTPS session: certificate and host name always verified. Callable from any thread.
class HttpClient {
public:
    virtual ~HttpClient() = default;
    /// Starts the request and returns at once; `completion` runs once, on a thread of the session's choosing.
    virtual void start(HttpRequest request, std::function<void(HttpReply)> completion) = 0;
    /// What will keep every request from working, as far as that can be judged without one: a line each, for whoever
    /// starts the process, without users and passwords.
    virtual std::vector<std::string> obstacles() = 0;
    /// Fails what is under way and whatever is started later, so that nobody waits for an answer while the process
    /// ends.
    virtual void stop() = 0;
};

}  // namespace zqm
