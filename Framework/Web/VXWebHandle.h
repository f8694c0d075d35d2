#pragma once

#include "VXCurl.h"

#include <vector>

/**
 * The libcurl handles for one transfer at a time, taken from a few that the process keeps: these hold the connections
 * used last. A handle belongs to one thread until it is returned. Any thread may take one.
 */
class VXWebHandle
{
public:
    VXWebHandle();
    ~VXWebHandle();
    VXWebHandle(const VXWebHandle &) = delete;
    VXWebHandle &operator=(const VXWebHandle &) = delete;

    /** Both are null when there is no memory for them, or no libcurl. */
    CURL *easy() const { return _easy; }
    CURLM *multi() const { return _multi; }

    /** The sockets of its present and former connections. */
    std::vector<curl_socket_t> &sockets() { return _sockets; }

    /** Says that the handles are in order, so that they are kept for others when returned; otherwise they are
     *  destroyed. */
    void keep() { _isKept = true; }

private:
    CURL *_easy = nullptr;
    CURLM *_multi = nullptr;
    std::vector<curl_socket_t> _sockets;
    bool _isKept = false;
};
