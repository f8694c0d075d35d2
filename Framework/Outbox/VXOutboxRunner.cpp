#include "VXOutboxRunner.h"

#include "VXFileManager.h"
#include "VXFramework.h"
#include "VXMethodLog.h"
#include "VXUserDefaults.h"

#include <QtCore/QPointer>
#include <QtCore/QSet>

#include <algorithm>
#include <chrono>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

constexpr qsizetype maximumDestinations = 4; // at once
constexpr double longestDelay = 60 * 60;     // seconds
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

} // namespace

VXOutboxRunner::VXOutboxRunner(const QString &kind, const VXOutbox &outbox, Deliver deliver)
    : _kind(kind), _outbox(outbox), _deliver(std::move(deliver))
{
    ++servedKinds()[kind];
    _timer.setSingleShot(true);
    connect(&_timer, &QTimer::timeout, this, &VXOutboxRunner::run);
    static_cast<void>(_outbox.forgetSentBefore(QDateTime::currentDateTimeUtc().addDays(-daysToKeepSent)));
}

VXOutboxRunner::~VXOutboxRunner()
{
    --servedKinds()[_kind];
}

bool VXOutboxRunner::isServed(const QString &kind)
{
    return servedKinds().value(kind) > 0;
}

// False, and tried again later, while another process sends.
bool VXOutboxRunner::takeLock()
{
    if (_lock)
        return true;
    const QString folder = VXFileManager::defaultManager().pathToUserVNXApplicationSupportFolder() + "/Outbox"_L1;
    if (const VXError error = VXFileManager::defaultManager().verifyPathExists(folder)) {
        VXLogMethod(VXLogError, "run", error.description());
        return false;
    }
    auto lock = std::make_unique<VXFileLock>(folder + u'/' + _kind + ".lock"_L1, 0ms);
    if (lock->isHeld())
        _lock = std::move(lock);
    else if (lock->isTimedOut())
        _timer.start(lockPoll);
    else
        VXLogMethod(VXLogError, "run", lock->reason());
    return _lock != nullptr;
}

void VXOutboxRunner::run()
{
    if (_isStopping || _isRunning || !takeLock())
        return;
    _isRunning = true; // what is changed is announced, and who hears of it may ask for a run
    VXError error;
    std::optional<QList<VXOutboxEntry>> entries = _outbox.entries(_kind, &error);
    if (entries) {
        markInterrupted(*entries);
        sendDue(*entries);
    } else {
        VXLogMethod(VXLogError, "run", error.description());
    }
    _isRunning = false;
    if (isBusy())
        return;
    _lock.reset();
    // What another process added while the lock was held here is seen here now, or by that process.
    entries = _outbox.entries(_kind, &error);
    if (entries)
        runLater(*entries);
    Q_EMIT didBecomeIdle();
}

// Nobody else sends while the lock is held here: their programs have ended.
void VXOutboxRunner::markInterrupted(const QList<VXOutboxEntry> &entries)
{
    for (VXOutboxEntry entry : entries) {
        if (entry.state != VXOutboxState::Sending || _inFlight.contains(entry.number))
            continue;
        entry.state = VXOutboxState::PerhapsSent;
        entry.problem = VXLocalizedString(u"The program ended while it was being sent."_s);
        entry.finishedDate = QDateTime::currentDateTimeUtc();
        static_cast<void>(_outbox.update(entry));
    }
}

void VXOutboxRunner::sendDue(const QList<VXOutboxEntry> &entries)
{
    const QDateTime now = QDateTime::currentDateTimeUtc();
    const QList<QString> sending = _inFlight.values();
    QSet<QString> passed(sending.cbegin(), sending.cend());
    for (const VXOutboxEntry &entry : entries) {
        if (entry.state != VXOutboxState::Queued || passed.contains(entry.destination))
            continue;
        passed.insert(entry.destination); // also when it is not due: those behind it wait
        if (isDue(entry, now) && _inFlight.size() < maximumDestinations)
            send(entry);
    }
}

void VXOutboxRunner::send(VXOutboxEntry entry)
{
    entry.state = VXOutboxState::Sending;
    ++entry.attempts;
    VXError error;
    if (!_outbox.update(entry, &error)) { // unmarked it could be sent twice
        VXLogMethod(VXLogError, "send:", error.description());
        return;
    }
    _inFlight.insert(entry.number, entry.destination);
    _deliver(entry, [self = QPointer(this), entry](const VXOutboxDelivery &delivery) {
        if (self)
            self->conclude(entry, delivery);
    });
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
    VXError error;
    if (!_outbox.update(entry, &error)) // it stays marked as being sent, and is never sent again by itself
        VXLogMethod(VXLogError, "conclude:", error.description());
    _inFlight.remove(entry.number);
    Q_EMIT didTry(entry);
    if (!_isStopping) {
        run();
    } else if (!isBusy()) {
        _lock.reset();
        Q_EMIT didBecomeIdle();
    }
}

// What is due and was not sent could not be marked, or came from another process just now.
void VXOutboxRunner::runLater(const QList<VXOutboxEntry> &entries)
{
    const QDateTime now = QDateTime::currentDateTimeUtc();
    std::optional<std::chrono::milliseconds> soonest;
    QSet<QString> passed;
    for (const VXOutboxEntry &entry : entries) {
        if (entry.state != VXOutboxState::Queued || passed.contains(entry.destination))
            continue;
        passed.insert(entry.destination);
        const std::chrono::milliseconds wait(isDue(entry, now) ? 0 : now.msecsTo(entry.nextDate));
        soonest = std::min(soonest.value_or(std::chrono::milliseconds::max()), std::max(wait, shortestWait));
    }
    if (soonest)
        _timer.start(*soonest);
}
