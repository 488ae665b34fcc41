#pragma once

#include <curl/curl.h>

#include <string>

namespace zqm {

/// The functions of libcurl that are used, loaded when they are first needed: together with its TLS the library takes
/// several megabytes, and a helper that asks no host never loads it. Once loaded it stays.
struct CurlLibrary {
    /// Fills the table. False when the library or a function is missing: the table is then of no use. Harmless when it
    /// is filled.
    bool load(const std::string& path);

    decltype(&curl_global_init) globalInit = nullptr;
    decltype(&curl_easy_init) easyInit = nullptr;
    decltype(&curl_easy_setopt) easySetopt = nullptr;
    decltype(&curl_easy_getinfo) easyGetinfo = nullptr;
    decltype(&curl_easy_cleanup) easyCleanup = nullptr;
    decltype(&curl_slist_append) slistAppend = nullptr;
    decltype(&curl_slist_free_all) slistFreeAll = nullptr;
    decltype(&curl_multi_init) multiInit = nullptr;
    decltype(&curl_multi_add_handle) multiAddHandle = nullptr;
    decltype(&curl_multi_remove_handle) multiRemoveHandle = nullptr;
    decltype(&curl_multi_perform) multiPerform = nullptr;
    decltype(&curl_multi_poll) multiPoll = nullptr;
    decltype(&curl_multi_wakeup) multiWakeup = nullptr;
    decltype(&curl_multi_info_read) multiInfoRead = nullptr;
    decltype(&curl_multi_cleanup) multiCleanup = nullptr;

private:
    bool isLoaded_ = false;
};

}  // namespace zqm
