#pragma once

#include "VXMutex.h"
#include "VXWebRequest.h"

#include <set>

/**
 * The running requests. When the application object is destroyed they are cancelled, on the main thread, so that each
 * delegate is notified; then it waits for their threads to end. Any thread.
 */
class VXRunningRequests
{
public:
    static VXRunningRequests &shared();

    /** False once the application has ended: then the request must not run. */
    [[nodiscard]] bool add(const VXWebRequest::Ptr &request);
    void remove(const VXWebRequest::Ptr &request);

private:
    VXRunningRequests();
    void close();

    VXMutex _lock;
    std::set<VXWebRequest::Ptr> _requests VX_GUARDED_BY(_lock);
    bool _isClosed VX_GUARDED_BY(_lock) = false;
};
