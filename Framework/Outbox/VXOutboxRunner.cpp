#include "VXOutboxRunner.h"

#include "VXFileManager.h"
#include "VXFileWatch.h"
#include "VXFramework.h"
#include "VXGuard.h"
#include "VXMainThread.h"
#include "VXMethodLog.h"
#include "VXMutex.h"
#include "VXNotificationCenter.h"
#include "VXOutboxSchedule.h"

#include <QtCore/QPointer>

#include <algorithm>
#include <chrono>
#include <utility>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

constexpr int maximumDestinations = 4; // at once
constexpr std::chrono::milliseconds lockPoll = 1s;
constexpr std::chrono::milliseconds shortestWait = 100ms;
constexpr std::chrono::milliseconds longestWait = 1min;  // the clock may be put forward, and the computer may sleep
constexpr std::chrono::milliseconds longestPause = 5min; // while the store cannot be written
constexpr std::chrono::milliseconds lookDelay = 2s;      // programs that end sooner do not take over what others left
constexpr int daysToKeepSent = 7;

QHash<QString, int> &servedKinds()
{
    static QHash<QString, int> kinds; // main thread only
    return kinds;
}

// Not held if another process sends, or, logged, if there can be no lock.
std::unique_ptr<VXFileLock> lockOfKind(const QString &kind)
{
    const QString folder = VXFileManager::defaultManager().pathToUserVNXApplicationSupportFolder() + "/Outbox"_L1;
    if (const VXError error = VXFileManager::defaultManager().verifyPathExists(folder))
        VXLogClassMethod(VXLogError, VXOutboxRunner, "run", error.description());
    auto lock = std::make_unique<VXFileLock>(folder + u'/' + kind + ".lock"_L1, 0ms);
    if (!lock->isHeld() && !lock->isTimedOut())
        VXLogClassMethod(VXLogError, VXOutboxRunner, "run", lock->reason());
    return lock;
}

VXOutboxEntry interrupted(VXOutboxEntry entry)
{
    entry.state = VXOutboxState::PerhapsSent;
    entry.problem = VXLocalizedString(u"The program ended while it was being sent."_s);
    entry.finishedDate = QDateTime::currentDateTimeUtc();
    return entry;
}

} // namespace

/** Collects the entries that changed, on any thread, until the main thread takes them. */
class VXOutboxRunner::News
{
public:
    /** False when the main thread is about to take them already. */
    bool add(const VXNotification &notification)
    {
        const VXMutexLocker lock(_lock);
        const bool isFirst = _dropped.isEmpty() && _due.isEmpty();
        const bool isDrop = notification.userInfo.value(VXOutboxChangeKey) == static_cast<int>(VXOutboxChange::Dropped);
        for (const QVariant &number : notification.userInfo.value(VXOutboxNumbersKey).toList()) {
            if (isDrop)
                _dropped.insert(number.toLongLong());
            else
                _due.append(number.toLongLong());
        }
        return isFirst;
    }
    std::pair<QSet<qint64>, QList<qint64>> take()
    {
        const VXMutexLocker lock(_lock);
        return {std::exchange(_dropped, {}), std::exchange(_due, {})};
    }

private:
    VXMutex _lock;
    QSet<qint64> _dropped VX_GUARDED_BY(_lock);
    QList<qint64> _due VX_GUARDED_BY(_lock);
};

VXOutboxRunner::VXOutboxRunner(const QString &kind, const VXOutbox &outbox, Deliver deliver)
    : _kind(kind), _outbox(outbox), _deliver(std::move(deliver))
{
    ++servedKinds()[kind];
    _timer.setSingleShot(true);
    connect(&_timer, &QTimer::timeout, this, &VXOutboxRunner::run);
    _look.setSingleShot(true);
    connect(&_look, &QTimer::timeout, this, &VXOutboxRunner::look);
    static_cast<void>(_outbox.forgetSentBefore(QDateTime::currentDateTimeUtc().addDays(-daysToKeepSent)));
    observe();
}

VXOutboxRunner::~VXOutboxRunner()
{
    VXNotificationCenter::defaultCenter().removeObserver(this);
    settleAll();
    --servedKinds()[_kind];
}

// -- What wakes it

void VXOutboxRunner::observe()
{
    const auto news = std::make_shared<News>();
    VXNotificationCenter::defaultCenter().addObserver(
        this, VXOutboxDidChangeNotification, [self = QPointer(this), news, kind = _kind](const VXNotification &told) {
            const bool isUpdate = told.userInfo.value(VXOutboxChangeKey) == static_cast<int>(VXOutboxChange::Updated);
            if (told.object.toString() != kind || isUpdate || !news->add(told))
                return;
            VXMainThread::perform([self, news] {
                const auto [dropped, due] = news->take();
                if (self)
                    self->takeNews(dropped, due);
            });
        });
    const auto lookSoon = [this] {
        if (!_look.isActive())
            _look.start(lookDelay);
    };
    new VXFileWatch(_outbox.files(), lookSoon, this);
}

// While a server is down entries may be added one after the other, and each only joins those that wait: nothing but the
// entry itself is read.
void VXOutboxRunner::takeNews(const QSet<qint64> &dropped, const QList<qint64> &due)
{
    if (!dropped.isEmpty())
        forget(dropped);
    if (!std::ranges::all_of(due, [this](qint64 number) { return join(number); }))
        run();
}

// Entries behind dropped ones get their turn at the next check: dropping is no request to send.
void VXOutboxRunner::forget(const QSet<qint64> &numbers)
{
    for (auto &[destination, queue] : _queues) {
        const qint64 held = queue.isHeld() ? queue.entries.front().number : 0;
        std::erase_if(queue.entries, [&](const VXOutboxEntry &entry) {
            return entry.number != held && numbers.contains(entry.number);
        });
    }
    _isSurveyed = false;
}

// True when nothing has to be done for the entry now: it waits behind others, or is gone.
bool VXOutboxRunner::join(qint64 number)
{
    const std::optional<VXOutboxEntry> entry = _outbox.entry(number);
    if (!entry || entry->state != VXOutboxState::Queued)
        return !entry;
    const auto found = _queues.find(entry->destination);
    if (found == _queues.end() || found->second.entries.empty() || found->second.entries.back().number >= number)
        return false;
    Queue &queue = found->second;
    if (!queue.isHeld() && VXOutboxSchedule().isDue(queue.entries.front()))
        return false;
    queue.entries.push_back(*entry);
    queue.entries.back().payload = {};
    return true;
}

void VXOutboxRunner::look()
{
    if (_isStopping || _isRunning || _isTroubled) // the change may be a result of the trouble, so wait for the next run
        return;
    if (_lock)
        return run();
    load();
    plan();
}

bool VXOutboxRunner::isServed(const QString &kind)
{
    return servedKinds().value(kind) > 0;
}

// False, to be tried again later, while another process sends, or where there can be no lock.
bool VXOutboxRunner::takeLock()
{
    if (_lock)
        return true;
    std::unique_ptr<VXFileLock> lock = lockOfKind(_kind);
    if (lock->isHeld())
        _lock = std::move(lock);
    else
        _timer.start(lock->isTimedOut() ? lockPoll : longestWait);
    return _lock != nullptr;
}

// False while the lock is needed: other processes would take the entry for one whose sender has ended.
bool VXOutboxRunner::releaseLock()
{
    const bool isFree =
        _inFlight == 0 && std::ranges::none_of(_queues, [](const auto &each) { return each.second.isHeld(); });
    if (isFree)
        _lock.reset();
    return isFree;
}

void VXOutboxRunner::settleInterrupted(const VXOutbox &outbox)
{
    const QStringList kinds = outbox.kindsBeingSent().value_or(QStringList());
    for (const QString &kind : kinds) {
        const std::unique_ptr<VXFileLock> lock = lockOfKind(kind);
        if (!lock->isHeld())
            continue;
        for (const VXOutboxEntry &entry : outbox.openEntries(kind).value_or(QList<VXOutboxEntry>())) {
            if (entry.state == VXOutboxState::Sending)
                static_cast<void>(outbox.update(interrupted(entry)));
        }
    }
}

// -- Runs

void VXOutboxRunner::run()
{
    if (_isStopping || _isRunning || !takeLock())
        return;
    _isTroubled = false;
    _isRunning = true; // observers of a change may ask for a run
    settleAll();
    if (load())
        markInterrupted();
    _isRunning = false;
    proceed();
}

// Reads what is queued; an entry that is being sent stays first in its queue.
bool VXOutboxRunner::load()
{
    VXError error;
    const std::optional<QList<VXOutboxEntry>> entries = _outbox.openEntries(_kind, &error);
    if (!entries) {
        tell("run", error);
        return false;
    }
    std::erase_if(_queues, [](const auto &each) { return !each.second.isHeld(); });
    for (auto &[destination, queue] : _queues)
        queue.entries.resize(1);
    for (const VXOutboxEntry &entry : *entries) {
        Queue &queue = _queues[entry.destination];
        if (!queue.isHeld() || queue.entries.front().number != entry.number)
            queue.entries.push_back(entry);
    }
    _isSurveyed = false;
    return true;
}

void VXOutboxRunner::tell(const char *method, const VXError &error)
{
    VXLogMethod(VXLogError, method, error.description());
    _isTroubled = true;
}

bool VXOutboxRunner::write(const VXOutboxEntry &entry)
{
    VXError error;
    const bool isWritten = _outbox.update(entry, &error);
    if (!isWritten)
        tell("write:", error);
    return isWritten;
}

// Nobody else sends while this process holds the lock: entries that are marked as being sent are of programs that have
// ended.
void VXOutboxRunner::markInterrupted()
{
    for (auto &each : _queues) {
        Queue &queue = each.second;
        const qint64 ours = queue.isHeld() ? queue.entries.front().number : 0;
        const auto isInterrupted = [&](const VXOutboxEntry &entry) {
            return entry.state == VXOutboxState::Sending && entry.number != ours && write(interrupted(entry));
        };
        std::erase_if(queue.entries, isInterrupted);
    }
}

void VXOutboxRunner::proceed()
{
    _isRunning = true;
    while (Queue *const queue = takeFirstDue()) {
        if (!send(*queue))
            break;
    }
    _isRunning = false;
    if (releaseLock())
        load(); // so that entries added by another process while the lock was held are seen here, or by that process
    _troubledRuns = _isTroubled ? _troubledRuns + 1 : 0;
    plan();
    if (!isBusy())
        Q_EMIT didBecomeIdle();
}

// Once after each reading of the store: later sends change only their own queue.
void VXOutboxRunner::survey()
{
    if (std::exchange(_isSurveyed, true))
        return;
    _due.clear();
    _soonest.reset();
    const VXOutboxSchedule schedule;
    for (const auto &[destination, queue] : _queues)
        enlist(queue, schedule);
}

// Entries behind the first of a queue wait for it.
void VXOutboxRunner::enlist(const Queue &queue, const VXOutboxSchedule &schedule)
{
    if (queue.isHeld() || queue.entries.empty())
        return;
    const VXOutboxEntry &first = queue.entries.front();
    const std::chrono::milliseconds wait(schedule.wait(first));
    const Clock::time_point time = Clock::now() + std::min(wait, longestWait);
    if (wait <= 0ms)
        _due.insert({{first.nextDate, first.number}, first.destination});
    else
        _soonest = std::min(_soonest.value_or(time), time);
}

// The destination that has been due longest comes first, so that one that fails again and again leaves the others their
// turns.
VXOutboxRunner::Queue *VXOutboxRunner::takeFirstDue()
{
    if (_inFlight >= maximumDestinations || _isTroubled || _isStopping)
        return nullptr;
    survey();
    while (!_due.empty()) {
        const auto first = _due.extract(_due.begin());
        const auto found = _queues.find(first.mapped());
        if (found == _queues.end() || found->second.isHeld() || found->second.entries.empty())
            continue;
        if (found->second.entries.front().number == first.key().second)
            return &found->second;
    }
    return nullptr;
}

// Sends the first entry of the queue that is still open, if any. False when it could not be marked as being sent: it
// could be sent twice.
bool VXOutboxRunner::send(Queue &queue)
{
    VXError error;
    std::optional<VXOutboxEntry> entry = _outbox.entry(queue.entries.front().number, &error);
    if (error) {
        tell("send:", error);
        return false;
    }
    if (!entry || entry->state != VXOutboxState::Queued) { // dropped, or changed by another process
        queue.entries.pop_front();
        enlist(queue, VXOutboxSchedule());
        return true;
    }
    entry->state = VXOutboxState::Sending;
    ++entry->attempts;
    if (!write(*entry))
        return false;
    queue.entries.front() = *entry;
    queue.isInFlight = true;
    ++_inFlight;
    Cancel cancel = deliver(*entry);
    if (queue.isInFlight) // otherwise it has ended already
        queue.cancel = std::move(cancel);
    return true;
}

// If sending throws, the entry may have been sent before.
VXOutboxRunner::Cancel VXOutboxRunner::deliver(const VXOutboxEntry &entry)
{
    // ensures a single result, whatever is thrown or called afterwards
    const auto isOver = std::make_shared<bool>(false);
    const auto completion = [self = QPointer(this), entry, isOver](const VXOutboxDelivery &delivery) {
        if (self && !std::exchange(*isOver, true))
            self->conclude(entry, delivery);
    };
    try {
        return _deliver(entry, completion);
    } catch (...) {
        const QString reason = VXDescribeThrown().reason;
        VXLogMethod(VXLogError, "send:", reason);
        completion({.outcome = VXOutboxDelivery::Outcome::Unknown, .problem = reason});
        return {};
    }
}

void VXOutboxRunner::giveUp()
{
    stop();
    QList<Cancel> cancels; // each call removes its delivery from its queue
    for (auto &[destination, queue] : _queues)
        cancels.append(std::exchange(queue.cancel, {}));
    for (const Cancel &cancel : std::as_const(cancels)) {
        if (cancel)
            VXGuard([&] { return VXDescribeCode(u"Giving up what is being sent"_s, cancel.target_type()); }, cancel);
    }
}

void VXOutboxRunner::resume()
{
    _isStopping = false;
    run();
}

void VXOutboxRunner::conclude(VXOutboxEntry entry, const VXOutboxDelivery &delivery)
{
    using Outcome = VXOutboxDelivery::Outcome;
    entry.problem = delivery.problem;
    entry.finishedDate = QDateTime::currentDateTimeUtc();
    if (delivery.outcome == Outcome::NotDelivered) {
        entry.state = VXOutboxState::Queued;
        entry.finishedDate = {};
        entry.nextDate = VXOutboxSchedule().nextDate(entry.attempts);
    } else if (delivery.outcome == Outcome::Sent) {
        entry.state = VXOutboxState::Sent;
    } else {
        entry.state = delivery.outcome == Outcome::Refused ? VXOutboxState::Failed : VXOutboxState::PerhapsSent;
    }
    Queue &queue = _queues[entry.destination];
    queue.entries.front() = entry;
    queue.isInFlight = false;
    queue.isConcluded = true;
    queue.cancel = {};
    --_inFlight;
    settle(queue);
    if (_isRunning)
        return; // the run continues by itself
    if (!_isStopping) {
        proceed();
    } else if (!isBusy()) {
        releaseLock();
        Q_EMIT didBecomeIdle();
    }
}

void VXOutboxRunner::settleAll()
{
    for (auto &[destination, queue] : _queues) {
        if (queue.isConcluded)
            settle(queue);
    }
}

// If the result cannot be written now, the entry stays marked as being sent, so it is not sent again automatically in
// any case.
void VXOutboxRunner::settle(Queue &queue)
{
    const VXOutboxEntry entry = queue.entries.front();
    VXError error;
    const bool isGone = !_outbox.entry(entry.number, &error) && !error;
    if (!isGone && !write(entry))
        return;
    queue.isConcluded = false;
    if (entry.state != VXOutboxState::Queued)
        queue.entries.pop_front(); // an empty queue is removed with the next reading of the store
    enlist(queue, VXOutboxSchedule());
    Q_EMIT didTry(entry);
}

// Sets the timer for the next entry that becomes due; while the store cannot be written, at increasing intervals.
void VXOutboxRunner::plan()
{
    using std::chrono::milliseconds;
    if (_isTroubled) {
        const milliseconds pause = std::min(longestPause, milliseconds(1s) * (1 << std::min(_troubledRuns, 10)));
        _timer.start(pause);
        return;
    }
    if (_inFlight >= maximumDestinations)
        return; // the end of a delivery is the next event
    survey();
    if (!_due.empty())
        _timer.start(shortestWait);
    else if (_soonest)
        _timer.start(std::max(std::chrono::ceil<milliseconds>(*_soonest - Clock::now()), shortestWait));
}
