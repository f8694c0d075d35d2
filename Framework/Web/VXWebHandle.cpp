#include "VXWebHandle.h"

#include "VXMutex.h"

#include <tuple>
#include <utility>
#include <vector>

namespace {

constexpr size_t maximumIdleHandles = 8;

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
    std::vector<std::pair<CURL *, CURLM *>> handles VX_GUARDED_BY(lock); // the last was used last
};

} // namespace

VXWebHandle::VXWebHandle()
{
    IdleHandles &idle = IdleHandles::shared();
    {
        const VXMutexLocker lock(idle.lock);
        if (!idle.handles.empty()) {
            std::tie(_easy, _multi) = idle.handles.back();
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
            idle.handles.emplace_back(_easy, _multi);
            return;
        }
    }
    curl_easy_cleanup(_easy);
    curl_multi_cleanup(_multi);
}
