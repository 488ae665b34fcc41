#pragma once

#include <memory>
#include <string>

#include "Platform/Posix/CurlLibrary.h"
#include "Platform/Process/HttpClient.h"

namespace zqm {

/// One HTTPS request as libcurl carries it out. Of one thread; must leave its multi handle before it is destroyed.
class CurlTransfer {
public:
    /// `authorityFile`: certificates of authorities to trust beside the system's, none when empty; `timeout`: what is
    /// left of the request's.
    CurlTransfer(const CurlLibrary& curl, HttpRequest request, const std::string& authorityFile, Seconds timeout);
    CurlTransfer(const CurlTransfer&) = delete;
    CurlTransfer& operator=(const CurlTransfer&) = delete;

    /// Whether the transfer may be carried out; anything else is its result.
    CURLcode preparation() const { return preparation_; }
    CURL* handle() const { return handle_.get(); }
    /// Why a transfer failed, in general words: libcurl's own name hosts, files and even the password of a proxy.
    static const char* description(CURLcode result);
    /// What the transfer brought; `result` is how it ended.
    HttpReply takeReply(CURLcode result);

private:
    template <class Value>
    void set(CURLoption option, Value value) {
        if (preparation_ == CURLE_OK) preparation_ = curl_.easySetopt(handle_.get(), option, value);
    }
    void setSecurity(const std::string& authorityFile);
    /// `before` takes the place of an option that the library is too old for.
    void allowOnlyHttps(CURLoption option, CURLoption before);
    void setContent();
    void addHeader(const std::string& line);
    static std::size_t receive(char* bytes, std::size_t one, std::size_t count, void* self);

    const CurlLibrary& curl_;
    const HttpRequest request_;
    std::unique_ptr<curl_slist, decltype(&curl_slist_free_all)> headers_;
    HttpReply reply_;
    bool isTooLarge_ = false;
    CURLcode preparation_ = CURLE_OK;
    std::unique_ptr<CURL, decltype(&curl_easy_cleanup)> handle_;  // refers to everything above
};

}  // namespace zqm
