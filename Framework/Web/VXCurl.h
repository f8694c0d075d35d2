#pragma once

#include <curl/curl.h>

/**
 * What is used of libcurl, which is loaded when it is first asked for: with the libraries that it needs it would take each program a
 * good part of its start. Any thread.
 */
class VXCurl
{
public:
    static const VXCurl &shared();
    /** False, logged, where there is none; its functions are null then. */
    bool isLoaded() const { return _isLoaded; }

    decltype(&::curl_easy_cleanup) easyCleanup = nullptr;
    decltype(&::curl_easy_getinfo) easyGetInfo = nullptr;
    decltype(&::curl_easy_init) easyInit = nullptr;
    decltype(&::curl_easy_reset) easyReset = nullptr;
    decltype(&::curl_easy_setopt) easySetOption = nullptr;
    decltype(&::curl_easy_strerror) easyError = nullptr;
    decltype(&::curl_multi_add_handle) multiAddHandle = nullptr;
    decltype(&::curl_multi_cleanup) multiCleanup = nullptr;
    decltype(&::curl_multi_fdset) multiDescriptors = nullptr;
    decltype(&::curl_multi_info_read) multiReadInfo = nullptr;
    decltype(&::curl_multi_init) multiInit = nullptr;
    decltype(&::curl_multi_perform) multiPerform = nullptr;
    decltype(&::curl_multi_poll) multiPoll = nullptr;
    decltype(&::curl_multi_remove_handle) multiRemoveHandle = nullptr;
    decltype(&::curl_multi_strerror) multiError = nullptr;
    decltype(&::curl_multi_wakeup) multiWakeUp = nullptr;
    decltype(&::curl_slist_append) listAppend = nullptr;
    decltype(&::curl_slist_free_all) listFree = nullptr;
    decltype(&::curl_version_info) versionInfo = nullptr;

private:
    VXCurl();
    bool load();

    const bool _isLoaded;
};
