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
        static auto *const handles = [] {
            curl_global_init(CURL_GLOBAL_DEFAULT);
            return new IdleHandles;
        }();
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
    _easy = curl_easy_init();
    _multi = curl_multi_init();
}

VXWebHandle::~VXWebHandle()
{
    if (_isKept) {
        curl_easy_reset(_easy);
        IdleHandles &idle = IdleHandles::shared();
        const VXMutexLocker lock(idle.lock);
        if (idle.handles.size() < maximumIdleHandles) {
            idle.handles.push_back({_easy, _multi, std::move(_sockets)});
            return;
        }
    }
    curl_easy_cleanup(_easy);
    curl_multi_cleanup(_multi);
}
