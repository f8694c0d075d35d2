#include "VXOutboxRunner.h"

#include "VXFileManager.h"
#include "VXFramework.h"
#include "VXMainThread.h"
#include "VXMethodLog.h"
#include "VXMutex.h"
#include "VXNotificationCenter.h"
#include "VXUserDefaults.h"

#include <QtCore/QPointer>
#include <QtCore/QSet>

#include <algorithm>
#include <chrono>
#include <utility>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

constexpr int maximumDestinations = 4;   // at once
constexpr double longestDelay = 60 * 60; // seconds
constexpr std::chrono::milliseconds lockPoll = 1s;
constexpr std::chrono::milliseconds shortestWait = 100ms;
constexpr int daysToKeepSent = 7;

QHash<QString, int> &servedKinds()
{
    static QHash<QString, int> kinds; // main thread only
    return kinds;
}

// Seconds after so many attempts.
double delayAfter(int attempts)
{
    const QVariant setting = VXUserDefaults::standardUserDefaults().objectForKey(u"outbox.retry-delay"_s);
    const double first = setting.isValid() ? std::max(setting.toDouble(), 0.0) : 10;
    return std::min(first * static_cast<double>(1LL << std::clamp(attempts - 1, 0, 20)), longestDelay);
}

// A clock that was put back must not keep an entry waiting for years.
bool isDue(const VXOutboxEntry &entry, const QDateTime &now)
{
    return entry.nextDate <= now || entry.nextDate > now.addSecs(static_cast<qint64>(longestDelay));
}

// Held, unless another process sends, or with a line in the log.
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

/** The numbers of entries that changed, on any thread, until the main thread takes them. */
class VXOutboxRunner::News
{
public:
    /** False when somebody is on the way to take them. */
    bool add(qint64 number)
    {
        const VXMutexLocker lock(_lock);
        _numbers.append(number);
        return _numbers.size() == 1;
    }
    QList<qint64> take()
    {
        const VXMutexLocker lock(_lock);
        return std::exchange(_numbers, {});
    }

private:
    VXMutex _lock;
    QList<qint64> _numbers VX_GUARDED_BY(_lock);
};

VXOutboxRunner::VXOutboxRunner(const QString &kind, const VXOutbox &outbox, Deliver deliver)
    : _kind(kind), _outbox(outbox), _deliver(std::move(deliver))
{
    ++servedKinds()[kind];
    _timer.setSingleShot(true);
    connect(&_timer, &QTimer::timeout, this, &VXOutboxRunner::run);
    static_cast<void>(_outbox.forgetSentBefore(QDateTime::currentDateTimeUtc().addDays(-daysToKeepSent)));
    const auto news = std::make_shared<News>();
    VXNotificationCenter::defaultCenter().addObserver(
        this, VXOutboxDidChangeNotification, [self = QPointer(this), news](const VXNotification &notification) {
            const bool isOwn = VXMainThread::isCurrent() && self->_isWriting;
            if (isOwn || !news->add(notification.object.toLongLong()))
                return;
            VXMainThread::perform([self, news] {
                const QList<qint64> numbers = news->take();
                if (self)
                    self->takeNews(numbers);
            });
        });
}

VXOutboxRunner::~VXOutboxRunner()
{
    VXNotificationCenter::defaultCenter().removeObserver(this);
    --servedKinds()[_kind];
}

bool VXOutboxRunner::isServed(const QString &kind)
{
    return servedKinds().value(kind) > 0;
}

// Where a server is away entries come one after the other, and each only joins those that wait: nothing is read for it but itself.
void VXOutboxRunner::takeNews(const QList<qint64> &numbers)
{
    bool isRunNeeded = false;
    for (const qint64 number : numbers)
        isRunNeeded = !putBehind(number) || isRunNeeded;
    if (isRunNeeded)
        run();
}

// False when the entry is not one that has to wait for one before it.
bool VXOutboxRunner::putBehind(qint64 number)
{
    const std::optional<VXOutboxEntry> entry = _outbox.entry(number);
    if (!entry || entry->state != VXOutboxState::Queued)
        return false;
    if (entry->kind != _kind)
        return true;
    const auto found = _queues.find(entry->destination);
    if (found == _queues.end() || found->second.entries.back().number >= number)
        return false;
    Queue &queue = found->second;
    const qint64 first = queue.entries.front().number;
    const bool isWaiting = !queue.isInFlight && !isDue(queue.entries.front(), QDateTime::currentDateTimeUtc());
    const std::optional<VXOutboxEntry> seen =
        isWaiting ? _outbox.entry(first) : std::nullopt; // others may have changed it
    if (!queue.isInFlight && (!seen || seen->nextDate != queue.entries.front().nextDate))
        return false;
    queue.entries.push_back(*entry);
    queue.entries.back().payload = {};
    return true;
}

// False, and tried again later, while another process sends.
bool VXOutboxRunner::takeLock()
{
    if (_lock)
        return true;
    std::unique_ptr<VXFileLock> lock = lockOfKind(_kind);
    if (lock->isHeld())
        _lock = std::move(lock);
    else if (lock->isTimedOut())
        _timer.start(lockPoll);
    return _lock != nullptr;
}

void VXOutboxRunner::settleInterrupted(const VXOutbox &outbox)
{
    QSet<QString> kinds;
    for (const VXOutboxEntry &entry : outbox.entries().value_or(QList<VXOutboxEntry>())) {
        if (entry.state == VXOutboxState::Sending)
            kinds.insert(entry.kind);
    }
    for (const QString &kind : std::as_const(kinds)) {
        const std::unique_ptr<VXFileLock> lock = lockOfKind(kind);
        if (!lock->isHeld())
            continue;
        for (const VXOutboxEntry &entry : outbox.openEntries(kind).value_or(QList<VXOutboxEntry>())) {
            if (entry.state == VXOutboxState::Sending)
                static_cast<void>(outbox.update(interrupted(entry)));
        }
    }
}

void VXOutboxRunner::run()
{
    if (_isStopping || _isRunning || !takeLock())
        return;
    _isRunning = true; // who hears of a change may ask for a run
    if (load())
        markInterrupted();
    _isRunning = false;
    proceed();
}

// Reads what is queued; what is being sent stays first in its queue.
bool VXOutboxRunner::load()
{
    VXError error;
    const std::optional<QList<VXOutboxEntry>> entries = _outbox.openEntries(_kind, &error);
    if (!entries) {
        VXLogMethod(VXLogError, "run", error.description());
        return false;
    }
    std::erase_if(_queues, [](const auto &each) { return !each.second.isInFlight; });
    for (auto &[destination, queue] : _queues)
        queue.entries.resize(1);
    for (const VXOutboxEntry &entry : *entries) {
        Queue &queue = _queues[entry.destination];
        if (!queue.isInFlight || queue.entries.front().number != entry.number)
            queue.entries.push_back(entry);
    }
    return true;
}

// So that the news of it are known for its own.
bool VXOutboxRunner::write(const VXOutboxEntry &entry)
{
    _isWriting = true;
    VXError error;
    const bool isWritten = _outbox.update(entry, &error);
    _isWriting = false;
    if (!isWritten)
        VXLogMethod(VXLogError, "write:", error.description());
    return isWritten;
}

// Nobody else sends while the lock is held here: their programs have ended.
void VXOutboxRunner::markInterrupted()
{
    for (auto &each : _queues) {
        Queue &queue = each.second;
        const qint64 ours = queue.isInFlight ? queue.entries.front().number : 0;
        const auto isInterrupted = [&](const VXOutboxEntry &entry) {
            const bool isMarked = entry.state == VXOutboxState::Sending && entry.number != ours;
            if (isMarked)
                static_cast<void>(write(interrupted(entry)));
            return isMarked;
        };
        std::erase_if(queue.entries, isInterrupted);
    }
    std::erase_if(_queues, [](const auto &each) { return each.second.entries.empty(); });
}

void VXOutboxRunner::proceed()
{
    _isRunning = true;
    sendDue();
    _isRunning = false;
    if (isBusy())
        return;
    _lock.reset();
    // What another process added while the lock was held here is seen here now, or by that process.
    if (load())
        runLater();
    Q_EMIT didBecomeIdle();
}

// Those behind the first wait for it.
bool VXOutboxRunner::canSend(const Queue &queue, const QDateTime &now)
{
    return !queue.isInFlight && !queue.entries.empty() && isDue(queue.entries.front(), now);
}

// The destinations take turns: who has waited longest is first.
void VXOutboxRunner::sendDue()
{
    const QDateTime now = QDateTime::currentDateTimeUtc();
    QList<Queue *> due;
    for (auto &[destination, queue] : _queues) {
        if (canSend(queue, now))
            due.append(&queue);
    }
    std::ranges::sort(due, {}, [](const Queue *queue) { return queue->entries.front().number; });
    for (Queue *const queue : due) {
        while (_inFlight < maximumDestinations && canSend(*queue, now) && send(*queue)) {
        }
    }
    std::erase_if(_queues, [](const auto &each) { return each.second.entries.empty(); });
}

// The first of the queue, or where that is open no more none. False when it could not be marked: it could be sent twice.
bool VXOutboxRunner::send(Queue &queue)
{
    VXError error;
    std::optional<VXOutboxEntry> entry = _outbox.entry(queue.entries.front().number, &error);
    if (error) {
        VXLogMethod(VXLogError, "send:", error.description());
        return false;
    }
    if (!entry || entry->state != VXOutboxState::Queued) { // dropped, or changed by another process
        queue.entries.pop_front();
        return true;
    }
    entry->state = VXOutboxState::Sending;
    ++entry->attempts;
    if (!write(*entry))
        return false;
    queue.entries.front() = *entry;
    queue.isInFlight = true;
    ++_inFlight;
    Cancel cancel = _deliver(*entry, [self = QPointer(this), entry = *entry](const VXOutboxDelivery &delivery) {
        if (self)
            self->conclude(entry, delivery);
    });
    if (queue.isInFlight) // else it has come to an end already
        queue.cancel = std::move(cancel);
    return true;
}

void VXOutboxRunner::giveUp()
{
    stop();
    QList<Cancel> cancels; // each takes its delivery out of its queue
    for (auto &[destination, queue] : _queues)
        cancels.append(std::exchange(queue.cancel, {}));
    for (const Cancel &cancel : std::as_const(cancels)) {
        if (cancel)
            cancel();
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
    const QDateTime now = QDateTime::currentDateTimeUtc();
    entry.problem = delivery.problem;
    entry.finishedDate = now;
    if (delivery.outcome == Outcome::NotDelivered) {
        entry.state = VXOutboxState::Queued;
        entry.finishedDate = {};
        entry.nextDate = now.addMSecs(static_cast<qint64>(delayAfter(entry.attempts) * 1000));
    } else if (delivery.outcome == Outcome::Sent) {
        entry.state = VXOutboxState::Sent;
    } else {
        entry.state = delivery.outcome == Outcome::Refused ? VXOutboxState::Failed : VXOutboxState::PerhapsSent;
    }
    static_cast<void>(
        write(entry)); // where that fails it stays marked as being sent, and is never sent again by itself
    Queue &queue = _queues[entry.destination];
    queue.isInFlight = false;
    queue.cancel = {};
    if (entry.state == VXOutboxState::Queued)
        queue.entries.front() = entry;
    else
        queue.entries.pop_front();
    if (queue.entries.empty() && !_isRunning) // else a loop over them goes on
        _queues.erase(entry.destination);
    --_inFlight;
    Q_EMIT didTry(entry);
    if (!_isStopping) {
        if (!_isRunning)
            proceed();
    } else if (!isBusy()) {
        _lock.reset();
        Q_EMIT didBecomeIdle();
    }
}

// What is due and was not sent could not be marked, or came from another process just now.
void VXOutboxRunner::runLater()
{
    const QDateTime now = QDateTime::currentDateTimeUtc();
    std::optional<std::chrono::milliseconds> soonest;
    for (const auto &[destination, queue] : _queues) {
        const VXOutboxEntry &first = queue.entries.front();
        const std::chrono::milliseconds wait(isDue(first, now) ? 0 : now.msecsTo(first.nextDate));
        soonest = std::min(soonest.value_or(std::chrono::milliseconds::max()), std::max(wait, shortestWait));
    }
    if (soonest)
        _timer.start(*soonest);
}
