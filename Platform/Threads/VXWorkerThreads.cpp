#include "VXWorkerThreads.h"

#include "VXDiagnostics.h"
#include "VXGuard.h"
#include "VXMainThread.h"

#include <QtCore/QString>

#include <chrono>
#include <system_error>
#include <thread>
#include <utility>

using namespace Qt::StringLiterals;

namespace {

constexpr std::chrono::seconds longestFarewell{10};

}

VXWorkerThreads &VXWorkerThreads::shared()
{
    static auto *const threads = new VXWorkerThreads;
    return *threads;
}

bool VXWorkerThreads::start(std::function<void()> work, std::function<void()> stop)
{
    QString problem;
    {
        const VXMutexLocker locker(_lock);
        if (!_isWatching)
            _isWatching = VXMainThread::performAtEnd([this] { close(); });
        if (!_isWatching || _isClosed)
            return false;
        const auto place = _running.insert(_running.end(), stop);
        try {
            std::thread([this, work = std::move(work), place] { run(work, place); }).detach();
            return true;
        } catch (const std::system_error &error) {
            _running.erase(place); // there is no thread to wait for
            problem = QString::fromLocal8Bit(error.what());
        }
    }
    VXReportDiagnostic(4, u"A thread could not be started: %1"_s.arg(problem));
    return false;
}

void VXWorkerThreads::run(const std::function<void()> &work, std::list<std::function<void()>>::iterator place)
{
    VXGuard([&] { return VXDescribeCode(u"Work on a thread of its own"_s, work.target_type()); }, work);
    std::function<void()> stop; // destroyed after the lock is released
    const VXMutexLocker locker(_lock);
    stop.swap(*place);
    _running.erase(place);
    _ended.notifyAll();
}

void VXWorkerThreads::close()
{
    std::list<std::function<void()>> running;
    {
        const VXMutexLocker locker(_lock);
        _isClosed = true;
        running = _running;
    }
    for (const std::function<void()> &stop : running)
        VXGuard([&] { return VXDescribeCode(u"The end of a thread's work"_s, stop.target_type()); }, stop);
    running.clear();
    const VXMutexLocker locker(_lock);
    static_cast<void>(
        _ended.waitFor(_lock, longestFarewell, [this]() VX_NO_THREAD_SAFETY_ANALYSIS { return _running.empty(); }));
}
