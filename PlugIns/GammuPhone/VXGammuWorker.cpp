#include "VXGammuWorker.h"

#include "VXGammuText.h"
#include "VXMainThread.h"

#include <algorithm>
#include <iterator>

using namespace Qt::StringLiterals;

namespace {

// How often a phone is asked for what it has to tell: the library gives no descriptor to wait for.
constexpr std::chrono::milliseconds listeningInterval{200};

// Not on the worker's thread: the main thread may be waiting for that to end.
void conclude(const VXDeviceAction::Ptr &action)
{
    if (action)
        VXMainThread::perform([action] { action->conclude(); });
}

void refuse(const VXDeviceAction::Ptr &action)
{
    if (!action)
        return;
    action->setError(VXMakeGammuRequestError(VXGammuLocalizedString(u"The phone is not in use any more."_s)));
    conclude(action);
}

} // namespace

VXGammuWorker::VXGammuWorker(VXGammuSession::Configure configure, Listener listener)
    : _listener(std::move(listener)), _session(std::move(configure)), _thread([this] { run(); })
{
}

VXGammuWorker::~VXGammuWorker()
{
    stop();
}

void VXGammuWorker::stop()
{
    std::deque<Job> waiting;
    {
        const VXMutexLocker lock(_lock);
        _isStopping = true;
        waiting.swap(_jobs);
        _session.abort(ERR_ABORTED);
        _changed.notifyAll();
    }
    if (_thread.joinable())
        _thread.join();
    for (const Job &job : waiting)
        refuse(job.action);
}

void VXGammuWorker::enqueue(const VXDeviceAction::Ptr &action, Work work)
{
    {
        const VXMutexLocker lock(_lock);
        if (!_isStopping) {
            _jobs.push_back({action, std::move(work)});
            return _changed.notifyAll();
        }
    }
    refuse(action);
}

bool VXGammuWorker::isBusy() const
{
    const VXMutexLocker lock(_lock);
    return _current.has_value() || !_jobs.empty();
}

void VXGammuWorker::watch()
{
    std::vector<Job> cancelled;
    {
        const VXMutexLocker lock(_lock);
        // Each is asked once: it may be cancelled in between.
        const auto found = std::stable_partition(_jobs.begin(), _jobs.end(), std::not_fn(&Job::isCancelled));
        cancelled.assign(std::make_move_iterator(found), std::make_move_iterator(_jobs.end()));
        _jobs.erase(found, _jobs.end());
        if (_current)
            watchCurrent();
    }
    for (const Job &job : cancelled)
        conclude(job.action);
}

void VXGammuWorker::watchCurrent()
{
    if (_session.isOverdue())
        _session.abort(ERR_TIMEOUT);
    else if (_session.isPortGone())
        _session.abort(ERR_DEVICENOTEXIST);
    else if (_current->wasCancelled)
        _session.abort(ERR_ABORTED);
    _current->wasCancelled = _current->isCancelled();
}

// -- The thread

void VXGammuWorker::run()
{
    while (takeJob()) {
        std::optional<Job> job;
        {
            const VXMutexLocker lock(_lock);
            job = _current;
        }
        if (job)
            perform(*job);
        else
            idle();
        finishCall();
    }
    _session.close();
}

bool VXGammuWorker::takeJob()
{
    std::optional<Job> finished; // goes once the lock is free
    const VXMutexLocker lock(_lock);
    finished.swap(_current);
    const auto hasNews = [this]() VX_NO_THREAD_SAFETY_ANALYSIS { return _isStopping || !_jobs.empty(); };
    if (_session.isListening())
        _changed.waitFor(_lock, listeningInterval, hasNews);
    else
        _changed.wait(_lock, hasNews);
    if (_isStopping)
        return false;
    if (!_jobs.empty()) {
        _current = std::move(_jobs.front());
        _jobs.pop_front();
        _session.renew();
    }
    return true;
}

void VXGammuWorker::perform(const Job &job)
{
    const VXError error = job.isCancelled() ? VXError() : work(job);
    if (error && job.action)
        job.action->setError(error);
    conclude(job.action);
}

VXError VXGammuWorker::work(const Job &job)
{
    const VXError error = _session.open();
    if (error) {
        _listener.didFailToOpen(error);
        return error;
    }
    if (!std::exchange(_wasOpen, true))
        _listener.didOpen(_session);
    return job.work(_session);
}

void VXGammuWorker::idle()
{
    if (_session.isPortGone())
        return _session.close();
    _session.listen();
}

// What every use of the library may have brought about.
void VXGammuWorker::finishCall()
{
    if (const std::vector<VXGammuReport> reports = _session.takeReports(); !reports.empty())
        _listener.didReport(_session, reports);
    if (_session.hasFailed())
        _session.close();
    if (!_session.isOpen() && std::exchange(_wasOpen, false))
        _listener.didClose();
}
