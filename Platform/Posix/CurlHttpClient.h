#pragma once

#include <memory>
#include <string>

#include "Platform/Process/HttpClient.h"

namespace zqm {

#if defined(__APPLE__)
inline constexpr const char* systemCurl = "/usr/lib/libcurl.4.dylib";
#else
inline constexpr const char* systemCurl = "libcurl.so.4";
#endif

/// HTTPS through libcurl, on one thread ("zqm.urlsession") that is there only while there are requests and for `idle`
/// after the last.
///
/// The library is loaded by the first request; where it cannot be, the request fails. At most 8 requests
/// are under way at once, further ones wait in order; waiting counts towards their timeout and may exceed it by a
/// second. Redirects are followed, five at most, to HTTPS alone. Bodies above 64 KiB are an error where they are
/// wanted. The proxies of the
/// environment (https_proxy, all_proxy, no_proxy) are honoured. The environment's ZQM_CA_FILE, read by the
/// constructor, names a PEM file of authorities that are trusted beside the system's.
///
/// Completions run on the session's thread, on the caller's when the system refuses a thread; they must not throw nor
/// destroy the client. What is under way or waits at `stop`, or is started after it, ends with the error
/// "cancelled".
class CurlHttpClient final : public HttpClient {
public:
    explicit CurlHttpClient(std::string library = systemCurl, Seconds idle = Seconds(2));
    ~CurlHttpClient() override;
    void start(HttpRequest request, std::function<void(HttpReply)> completion) override;
    std::vector<std::string> obstacles() override;
    void stop() override;

private:
    class Session;
    std::unique_ptr<Session> session_;
};

}  // namespace zqm
