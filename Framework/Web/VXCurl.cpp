#include "VXCurl.h"

#include "VXLog.h"

#include <dlfcn.h>

using namespace Qt::StringLiterals;

const VXCurl &VXCurl::shared()
{
    static const VXCurl library;
    return library;
}

VXCurl::VXCurl() : _isLoaded(load())
{
    if (!_isLoaded)
        VXLog::log(VXLogError, "There are no web requests without libcurl: "_L1 + QString::fromLocal8Bit(::dlerror()));
}

bool VXCurl::load()
{
    void *const library = ::dlopen("libcurl.so.4", RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE);
    if (library == nullptr)
        return false;
    const auto find = [library](const char *name, auto &function) {
        function = reinterpret_cast<std::remove_reference_t<decltype(function)>>(::dlsym(library, name));
        return function != nullptr;
    };
    decltype(&::curl_global_init) initialize = nullptr;
    return find("curl_easy_cleanup", easyCleanup) && find("curl_easy_getinfo", easyGetInfo) &&
           find("curl_easy_init", easyInit) && find("curl_easy_reset", easyReset) &&
           find("curl_easy_setopt", easySetOption) && find("curl_easy_strerror", easyError) &&
           find("curl_multi_add_handle", multiAddHandle) && find("curl_multi_cleanup", multiCleanup) &&
           find("curl_multi_fdset", multiDescriptors) && find("curl_multi_info_read", multiReadInfo) &&
           find("curl_multi_init", multiInit) && find("curl_multi_perform", multiPerform) &&
           find("curl_multi_poll", multiPoll) && find("curl_multi_remove_handle", multiRemoveHandle) &&
           find("curl_multi_strerror", multiError) && find("curl_multi_wakeup", multiWakeUp) &&
           find("curl_slist_append", listAppend) && find("curl_slist_free_all", listFree) &&
           find("curl_version_info", versionInfo) && find("curl_global_init", initialize) &&
           initialize(CURL_GLOBAL_DEFAULT) == CURLE_OK;
}
