#include "VXBusQueue.h"

#include "VXBusText.h"

#include <algorithm>
#include <utility>

using namespace Qt::StringLiterals;

VXBusQueue::~VXBusQueue()
{
    stop();
}

void VXBusQueue::enqueue(const VXDeviceAction::Ptr &action, const Work &work)
{
    add({.action = action, .work = work, .conclusion = {}});
}

void VXBusQueue::enqueue(const Work &work, const VXBusErrand::Conclusion &conclusion)
{
    add({.action = nullptr, .work = work, .conclusion = conclusion});
}

void VXBusQueue::add(const Job &job)
{
    if (_isStopped)
        return drop(job, VXBusError(VXBusText(u"The phone is no longer in use."_s)));
    _jobs.push_back(job);
    if (const VXDeviceAction *const action = job.action.get()) {
        connect(action, &VXDeviceAction::cancelRequested, this, [this, action] { withdraw(action); });
        if (action->isCancelled()) // before anybody was listening
            return withdraw(action);
    }
    if (_isOpen)
        beginNext();
    else
        Q_EMIT isWanted();
}

void VXBusQueue::open()
{
    if (_isStopped || std::exchange(_isOpen, true))
        return;
    beginNext();
}

void VXBusQueue::close(const VXError &error)
{
    _isOpen = false;
    if (error.isNull())
        return;
    const std::deque<Job> waiting = std::exchange(_jobs, {});
    if (const VXBusErrand::Ptr current = _current)
        current->fail(error);
    for (const Job &job : waiting)
        drop(job, error);
}

void VXBusQueue::stop()
{
    if (std::exchange(_isStopped, true))
        return;
    close(VXBusError(VXBusText(u"The phone is no longer in use."_s)));
}

void VXBusQueue::beginNext()
{
    if (!_isOpen || _current || _jobs.empty())
        return;
    const Job job = std::move(_jobs.front());
    _jobs.pop_front();
    if (job.action)
        job.action->disconnect(this);
    const auto conclude = [self = QPointer(this), job](const QVariantMap &result, const VXError &error) {
        if (self)
            self->finish(job, result, error);
    };
    const auto errand = std::make_shared<VXBusErrand>(_service, job.action, conclude);
    _current = errand;
    errand->run([&] { job.work(*errand); });
}

void VXBusQueue::finish(const Job &job, const QVariantMap &result, const VXError &error)
{
    const VXBusErrand::Ptr concluded = std::exchange(_current, {}); // kept alive until it has returned
    // The event loop begins the next one: a queue of requests that end at once must not make the stack grow.
    QMetaObject::invokeMethod(this, &VXBusQueue::beginNext, Qt::QueuedConnection);
    if (job.conclusion)
        job.conclusion(result, error);
    if (!job.action)
        return;
    if (!result.isEmpty())
        job.action->setResult(result);
    if (!job.action->isCancelled()) // otherwise it already has its error
        job.action->setError(error);
    job.action->conclude();
}

// A waiting request ends at once.
void VXBusQueue::withdraw(const VXDeviceAction *action)
{
    const auto found = std::ranges::find(_jobs, action, [](const Job &job) { return job.action.get(); });
    if (found == _jobs.end())
        return;
    const Job job = *found;
    _jobs.erase(found);
    drop(job, {}); // it already has its error
}

void VXBusQueue::drop(const Job &job, const VXError &error)
{
    if (job.conclusion)
        job.conclusion({}, error);
    if (!job.action)
        return;
    job.action->disconnect(this);
    if (job.action->actionName() == "send_message"_L1)
        job.action->setResult(QVariantMap{{u"failure"_s, u"later"_s}});
    job.action->setError(error);
    job.action->conclude();
}
