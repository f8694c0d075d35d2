#pragma once

#include "VXMutex.h"
#include "VXWebRequest.h"

#include <set>

/**
 * The requests that run. When the application object goes they are cancelled, on the main thread, so that each delegate is
 * told; then the ends of their threads are awaited. Any thread.
 */
class VXRunningRequests
{
public:
    static VXRunningRequests &shared();

    /** False once the application has ended: the request must not run. */
    [[nodiscard]] bool add(const VXWebRequest::Ptr &request);
    void remove(const VXWebRequest::Ptr &request);

private:
    VXRunningRequests();
    void close();

    VXMutex _lock;
    std::set<VXWebRequest::Ptr> _requests VX_GUARDED_BY(_lock);
    bool _isClosed VX_GUARDED_BY(_lock) = false;
};
