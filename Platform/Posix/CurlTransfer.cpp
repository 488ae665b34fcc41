#include "Platform/Posix/CurlTransfer.h"

#include <algorithm>
#include <utility>

namespace zqm {
namespace {

constexpr std::size_t mostBody = 64 * 1024;
constexpr long mostRedirects = 5;
// CURLOPT_PROTOCOLS and CURLOPT_REDIR_PROTOCOLS, which newer headers warn of.
constexpr auto protocolsBefore785 = static_cast<CURLoption>(CURLOPTTYPE_LONG + 181);
constexpr auto redirectProtocolsBefore785 = static_cast<CURLoption>(CURLOPTTYPE_LONG + 182);

/// libcurl takes 0 for no limit at all.
long milliseconds(Seconds timeout) {
    constexpr double day = 24 * 60 * 60 * 1000.0;
    const double count = timeout.count() * 1000;
    return count >= 1 ? static_cast<long>(std::min(count, day)) : 1;
}

}  // namespace

CurlTransfer::CurlTransfer(const CurlLibrary& curl, HttpRequest request, const std::string& authorityFile,
                           Seconds timeout)
    : curl_(curl),
      request_(std::move(request)),
      headers_(nullptr, curl.slistFreeAll),
      handle_(curl.easyInit(), curl.easyCleanup) {
    if (!handle_) {
        preparation_ = CURLE_OUT_OF_MEMORY;
        return;
    }
    set(CURLOPT_URL, request_.url.c_str());
    set(CURLOPT_TIMEOUT_MS, milliseconds(timeout));
    set(CURLOPT_NOSIGNAL, 1L);  // a thread of ours takes no signals anyway
    // Requests are rare, and a connection of its own never suffers from what happened to an earlier one.
    set(CURLOPT_FORBID_REUSE, 1L);
    set(CURLOPT_HTTP_VERSION, static_cast<long>(CURL_HTTP_VERSION_1_1));
    set(CURLOPT_FOLLOWLOCATION, 1L);
    set(CURLOPT_MAXREDIRS, mostRedirects);
    set(CURLOPT_WRITEFUNCTION, &CurlTransfer::receive);
    set(CURLOPT_WRITEDATA, static_cast<void*>(this));
    setSecurity(authorityFile);
    setContent();
    // A name server that does not answer must hold up neither the other requests nor the end of the process; a library
    // before 7.87 does not know the option and waits.
    curl_.easySetopt(handle_.get(), CURLOPT_QUICK_EXIT, 1L);
}

void CurlTransfer::setSecurity(const std::string& authorityFile) {
    allowOnlyHttps(CURLOPT_PROTOCOLS_STR, protocolsBefore785);
    allowOnlyHttps(CURLOPT_REDIR_PROTOCOLS_STR, redirectProtocolsBefore785);
    set(CURLOPT_SSL_VERIFYPEER, 1L);
    set(CURLOPT_SSL_VERIFYHOST, 2L);
    // Takes the place of the system's bundle; the system's directory of the same authorities remains.
    if (!authorityFile.empty()) set(CURLOPT_CAINFO, authorityFile.c_str());
}

void CurlTransfer::allowOnlyHttps(CURLoption option, CURLoption before) {
    set(option, "https");
    if (preparation_ != CURLE_UNKNOWN_OPTION) return;
    preparation_ = CURLE_OK;
    set(before, static_cast<long>(CURLPROTO_HTTPS));
}

void CurlTransfer::setContent() {
    if (request_.method != "GET") {
        set(CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(request_.body.size()));
        set(CURLOPT_POSTFIELDS, request_.body.data());  // not copied
        if (request_.method != "POST") set(CURLOPT_CUSTOMREQUEST, request_.method.c_str());
        addHeader("Content-Type:" + (request_.contentType.empty() ? "" : " " + request_.contentType));
        addHeader("Expect:");  // a large body is sent without asking first
    }
    set(CURLOPT_HTTPHEADER, headers_.get());
}

void CurlTransfer::addHeader(const std::string& line) {
    curl_slist* longer = curl_.slistAppend(headers_.get(), line.c_str());
    if (!longer) {
        preparation_ = CURLE_OUT_OF_MEMORY;
        return;
    }
    static_cast<void>(headers_.release());
    headers_.reset(longer);
}

std::size_t CurlTransfer::receive(char* bytes, std::size_t, std::size_t count, void* self) {
    auto& transfer = *static_cast<CurlTransfer*>(self);
    if (!transfer.request_.wantsAnswerBody) return count;
    if (count > mostBody - transfer.reply_.body.size()) {
        transfer.isTooLarge_ = true;
        return 0;  // ends the transfer and its connection
    }
    transfer.reply_.body.append(bytes, count);
    return count;
}

const char* CurlTransfer::description(CURLcode result) {
    switch (result) {
        case CURLE_OPERATION_TIMEDOUT:
            return "timed out";
        case CURLE_COULDNT_RESOLVE_HOST:
        case CURLE_COULDNT_RESOLVE_PROXY:
            return "host not found";
        case CURLE_COULDNT_CONNECT:
            return "no connection";
        case CURLE_PEER_FAILED_VERIFICATION:
        case CURLE_SSL_CACERT_BADFILE:
        case CURLE_SSL_CONNECT_ERROR:
            return "no secure connection";
        default:
            return "request failed";
    }
}

HttpReply CurlTransfer::takeReply(CURLcode result) {
    if (result != CURLE_OK) {
        return {isTooLarge_ ? "response too large" : description(result), std::nullopt, {}};
    }
    long status = 0;
    curl_.easyGetinfo(handle_.get(), CURLINFO_RESPONSE_CODE, &status);
    if (status > 0) reply_.status = static_cast<int>(status);
    return std::move(reply_);
}

}  // namespace zqm
