#include "VXRunningRequests.h"

#include "VXRequestThreads.h"

#include <QtCore/QCoreApplication>

#include <chrono>
#include <utility>

namespace {

constexpr std::chrono::seconds longestFarewell{10}; // a name look-up cannot be interrupted

}

VXRunningRequests &VXRunningRequests::shared()
{
    static auto *const requests = new VXRunningRequests;
    return *requests;
}

VXRunningRequests::VXRunningRequests()
{
    qAddPostRoutine([] { shared().close(); });
}

bool VXRunningRequests::add(const VXWebRequest::Ptr &request)
{
    const VXMutexLocker lock(_lock);
    if (!_isClosed)
        _requests.insert(request);
    return !_isClosed;
}

void VXRunningRequests::remove(const VXWebRequest::Ptr &request)
{
    const VXMutexLocker lock(_lock);
    _requests.erase(request);
}

void VXRunningRequests::close()
{
    std::set<VXWebRequest::Ptr> requests;
    {
        const VXMutexLocker lock(_lock);
        _isClosed = true;
        requests.swap(_requests);
    }
    for (const VXWebRequest::Ptr &request : std::exchange(requests, {}))
        request->cancel();
    VXRequestThreads::shared().close(longestFarewell);
}
