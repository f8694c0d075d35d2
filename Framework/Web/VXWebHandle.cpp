#include "VXWebHandle.h"

#include "VXMutex.h"

#include <utility>
#include <vector>

namespace {

constexpr size_t maximumIdleHandles = 8;

struct IdleHandle
{
    CURL *easy = nullptr;
    CURLM *multi = nullptr;
    std::vector<curl_socket_t> sockets;
};

struct IdleHandles
{
    static IdleHandles &shared()
    {
        static auto *const handles = new IdleHandles;
        return *handles;
    }

    VXMutex lock;
    std::vector<IdleHandle> handles VX_GUARDED_BY(lock); // the one used last is last
};

} // namespace

VXWebHandle::VXWebHandle()
{
    IdleHandles &idle = IdleHandles::shared();
    {
        const VXMutexLocker lock(idle.lock);
        if (!idle.handles.empty()) {
            IdleHandle &last = idle.handles.back();
            _easy = last.easy;
            _multi = last.multi;
            _sockets = std::move(last.sockets);
            idle.handles.pop_back();
            return;
        }
    }
    if (!VXCurl::shared().isLoaded())
        return;
    _easy = VXCurl::shared().easyInit();
    _multi = VXCurl::shared().multiInit();
}

VXWebHandle::~VXWebHandle()
{
    const VXCurl &curl = VXCurl::shared();
    if (!curl.isLoaded())
        return;
    if (_isKept) {
        curl.easyReset(_easy);
        IdleHandles &idle = IdleHandles::shared();
        const VXMutexLocker lock(idle.lock);
        if (idle.handles.size() < maximumIdleHandles) {
            idle.handles.push_back({_easy, _multi, std::move(_sockets)});
            return;
        }
    }
    curl.easyCleanup(_easy);
    curl.multiCleanup(_multi);
}
