#pragma once

#include <curl/curl.h>

#include <vector>

/**
 * What libcurl needs for one transfer at a time, taken from a few that the process keeps: they hold the connections to
 * servers that were used last. A handle belongs to one thread until it is given back. Any thread may take one.
 */
class VXWebHandle
{
public:
    VXWebHandle();
    ~VXWebHandle();
    VXWebHandle(const VXWebHandle &) = delete;
    VXWebHandle &operator=(const VXWebHandle &) = delete;

    /** Both null when there is no memory for them. */
    CURL *easy() const { return _easy; }
    CURLM *multi() const { return _multi; }

    /** Where its connections are, or were. */
    std::vector<curl_socket_t> &sockets() { return _sockets; }

    /** It is in order, and may serve others once it is given back; else it goes. */
    void keep() { _isKept = true; }

private:
    CURL *_easy = nullptr;
    CURLM *_multi = nullptr;
    std::vector<curl_socket_t> _sockets;
    bool _isKept = false;
};
