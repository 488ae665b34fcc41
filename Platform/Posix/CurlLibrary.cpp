#include "Platform/Posix/CurlLibrary.h"

#include <dlfcn.h>

namespace zqm {
namespace {

template <class Function>
bool find(void* library, const char* name, Function& function) {
    function = reinterpret_cast<Function>(::dlsym(library, name));
    return function != nullptr;
}

}  // namespace

bool CurlLibrary::load(const std::string& path) {
    if (isLoaded_) return true;
    void* library = ::dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (!library) return false;
    const bool isComplete =
        find(library, "curl_global_init", globalInit) && find(library, "curl_easy_init", easyInit) &&
        find(library, "curl_easy_setopt", easySetopt) && find(library, "curl_easy_getinfo", easyGetinfo) &&
        find(library, "curl_easy_cleanup", easyCleanup) && find(library, "curl_slist_append", slistAppend) &&
        find(library, "curl_slist_free_all", slistFreeAll) && find(library, "curl_multi_init", multiInit) &&
        find(library, "curl_multi_add_handle", multiAddHandle) &&
        find(library, "curl_multi_remove_handle", multiRemoveHandle) &&
        find(library, "curl_multi_perform", multiPerform) && find(library, "curl_multi_poll", multiPoll) &&
        find(library, "curl_multi_wakeup", multiWakeup) && find(library, "curl_multi_info_read", multiInfoRead) &&
        find(library, "curl_multi_cleanup", multiCleanup);
    if (!isComplete) {
        ::dlclose(library);
        return false;
    }
    static const CURLcode result = globalInit(CURL_GLOBAL_DEFAULT);
    isLoaded_ = result == CURLE_OK;  // never closed: its threads and exit handlers may outlive every request
    return isLoaded_;
}

}  // namespace zqm
