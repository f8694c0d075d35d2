#include "VXGammuDriver.h"

#include "VXGammuStrings.h"
#include "VXPhonebookString.h"

#include <algorithm>
#include <utility>

using namespace Qt::StringLiterals;
using namespace VXGammuProtocol;

namespace {

constexpr qsizetype portionSize = 500; // of what is read

// A message that names its recipient in the way of records, by phonebook strings.
QVariant objectOf(const VXDeviceAction &action)
{
    const QVariant object = action.object();
    QVariantMap message = object.toMap();
    if (action.actionName() != "send_message"_L1 || message.contains(u"number"_s) || !message.contains(u"to"_s))
        return object;
    const QString to = message.take(u"to"_s).toString();
    const QString number = VXDialledNumber(to);
    message.insert(u"number"_s, number.isNull() ? to : number);
    return message;
}

} // namespace

VXGammuDriver::VXGammuDriver(const QString &program, Configure configure, Complete complete)
    : _program(program), _configure(std::move(configure)), _complete(std::move(complete))
{
}

VXGammuDriver::~VXGammuDriver()
{
    stop();
}

void VXGammuDriver::stop()
{
    _isStopped = true;
    _isConnected = _isAsking = false;
    _process.reset();
    for (const Job &job : std::exchange(_jobs, {}))
        fail(job, VXErrorFromGammu(VXGammuRefusal(u"The phone is no longer in use."_s)));
}

void VXGammuDriver::fail(const Job &job, const VXError &error)
{
    if (!job.action)
        return;
    job.action->disconnect(this);
    if (!job.wasAsked && job.action->actionName() == "send_message"_L1 && !job.action->result().isValid())
        job.action->setResult(QVariantMap{{u"failure"_s, u"later"_s}}); // certainly nothing was sent
    job.action->setError(error);
    job.action->conclude();
}

// -- Asking

void VXGammuDriver::enqueue(const VXDeviceAction::Ptr &action)
{
    const Job job{.action = action, .items = {}};
    if (_isStopped)
        return fail(job, VXErrorFromGammu(VXGammuRefusal(u"The phone is no longer in use."_s)));
    _jobs.push_back(job);
    if (action) {
        connect(action.get(), &VXDeviceAction::cancelRequested, this, [this, asked = action.get()] { cancel(asked); });
        if (action->isCancelled()) // before anybody was listening
            return cancel(action.get());
    }
    askNext();
}

void VXGammuDriver::askNext()
{
    if (_isAsking || _isEnding || _jobs.empty() || _isStopped)
        return;
    _isAsking = true;
    if (!_process)
        start();
    const VXDeviceAction::Ptr action = _jobs.front().action;
    _jobs.front().wasAsked = _isConnected;
    _process->send(action ? Request{.action = action->actionName(), .object = objectOf(*action)}
                          : Request{.action = u"state"_s, .object = {}});
}

void VXGammuDriver::start()
{
    _process = VXGammuProcess::start(_program, _configure());
    connect(_process.get(), &VXGammuProcess::didReceive, this, &VXGammuDriver::take);
    connect(_process.get(), &VXGammuProcess::willEnd, this, [this] { _isEnding = true; });
    // Queued, because the process may fail to start before this object has sent its request.
    connect(_process.get(), &VXGammuProcess::didEnd, this, &VXGammuDriver::processDidEnd, Qt::QueuedConnection);
}

// A waiting request ends at once; a running one is left to the process.
void VXGammuDriver::cancel(const VXDeviceAction *action)
{
    const auto found = std::ranges::find(_jobs, action, [](const Job &job) { return job.action.get(); });
    if (found == _jobs.end())
        return;
    if (_isAsking && found == _jobs.begin())
        return _process->cancel();
    const Job job = *found;
    _jobs.erase(found);
    fail(job, {}); // it already has its error
}

// -- What the process tells

void VXGammuDriver::take(const QCborArray &message)
{
    if (const auto properties = decode<Properties>(message)) {
        _isConnected = true;
        if (_isAsking)
            _jobs.front().wasAsked = true;
        Q_EMIT didTellProperties(properties->values);
    } else if (const auto event = decode<Event>(message)) {
        Q_EMIT didReport(event->name, event->step, event->object);
    } else if (const auto concluded = decode<Concluded>(message)) {
        concludeCurrent(concluded->result, VXErrorFromGammu(concluded->failure));
        askNext();
    } else if (_isAsking && _jobs.front().action) {
        takeProgress(message);
    }
}

void VXGammuDriver::takeProgress(const QCborArray &message)
{
    Job &job = _jobs.front();
    const VXDeviceAction::Ptr action = job.action; // a listener to the progress may stop this object
    if (const auto item = decode<Item>(message)) {
        QVariantMap record = item->value;
        if (_complete)
            _complete(record);
        job.items.append(record);
        if (job.items.size() % portionSize == 0)
            handOver(action);
    } else if (const auto expected = decode<Expect>(message)) {
        action->setProgressMaxValue(expected->maximum);
    } else if (decode<Step>(message)) {
        action->incrementProgress();
    }
}

// Whoever takes contacts is faster than a phone. What else is in the result describes messages, which need it.
void VXGammuDriver::handOver(const VXDeviceAction::Ptr &action)
{
    const auto portion = [items = _jobs.front().items] { return QVariantMap{{u"items"_s, items}}; };
    const bool isTaken = action->actionName() == "read_contacts"_L1 && action->handOver(portion);
    if (isTaken && !_jobs.empty() && _jobs.front().action == action) // it may have stopped this object
        _jobs.front().items.clear();
}

// The result of a reading request is complete except for its items; the same holds for one that was broken off after it
// had read some.
void VXGammuDriver::concludeCurrent(const QVariantMap &result, const VXError &error)
{
    if (!std::exchange(_isAsking, false))
        return;
    const Job job = std::move(_jobs.front());
    _jobs.pop_front();
    if (!job.action)
        return;
    QVariantMap whole = result;
    if (result.contains(u"items"_s) || !job.items.isEmpty()) {
        whole.insert(u"items"_s, job.items);
        whole.insert(u"isComplete"_s, result.value(u"isComplete"_s, false));
        whole.insert(u"problems"_s, result.value(u"problems"_s, QStringList()).toStringList());
    }
    if (!whole.isEmpty())
        job.action->setResult(whole);
    fail(job, error);
}

void VXGammuDriver::processDidEnd(const VXGammuFailure &failure)
{
    if (!_process || sender() != _process.get()) // it was hung up in the meantime
        return;
    _process.reset();
    _isEnding = false;
    const VXError error = VXErrorFromGammu(failure);
    const bool wasConnected = std::exchange(_isConnected, false);
    if (wasConnected) {
        Q_EMIT didClose(error);
    } else {
        Q_EMIT didFailToOpen(error);
        // The waiting requests would wait just as long for the same failure.
        while (_jobs.size() > 1) {
            const Job job = std::move(_jobs.back());
            _jobs.pop_back();
            fail(job, error);
        }
    }
    concludeCurrent({}, error);
    askNext();
}
