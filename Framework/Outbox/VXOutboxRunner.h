#pragma once

#include "VXFileLock.h"
#include "VXFrameworkExport.h"
#include "VXOutbox.h"

#include <QtCore/QObject>
#include <QtCore/QSet>
#include <QtCore/QTimer>

#include <chrono>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <utility>

class VXOutboxSchedule;

/** What came of a try to send an entry. */
struct VXOutboxDelivery
{
    enum class Outcome {
        Sent,
        Refused,      // and would be again
        NotDelivered, // it is certain that it did not arrive: to be tried again later
        Unknown,      // it may have arrived
    };
    Outcome outcome = Outcome::Unknown;
    QString problem = {}; // for people; null for none
};

/**
 * Sends the entries of one kind from the outbox: those for one destination one after the other, in their order, a few
 * destinations at once. What did not arrive is tried again after 10 seconds (the user default "outbox.retry-delay"), then
 * after double the time, up to an hour. Of all processes one sends at a time. An entry is marked before it is sent, so
 * that one whose program ended meanwhile is not sent again by itself; what came of it and cannot be written is kept, and
 * written once that goes. What is added or is to be tried now in this process is sent at once, what other processes leave, or
 * left before the start, in a few seconds. What is dropped makes nothing be sent. Main thread only.
 */
class VX_EXPORT VXOutboxRunner : public QObject
{
    Q_OBJECT

public:
    using Completion = std::function<void(const VXOutboxDelivery &delivery)>;
    /** Gives a delivery up: its completion is called at once or soon. On the main thread. */
    using Cancel = std::function<void()>;
    /** Begins to send the entry, and calls the completion once on the main thread. Null: it cannot be given up. What it throws
     *  ends the try: the entry may have been sent. */
    using Deliver = std::function<Cancel(const VXOutboxEntry &entry, Completion completion)>;

    VXOutboxRunner(const QString &kind, const VXOutbox &outbox, Deliver deliver);
    ~VXOutboxRunner() override;

    /** Marks what programs were sending that have ended since; of kinds that a program is sending just now, nothing. */
    static void settleInterrupted(const VXOutbox &outbox);
    /** Whether a runner of that kind lives in this process. */
    static bool isServed(const QString &kind);

    /** Sends what is due; what is not is tried when its time has come. */
    void run();
    /** Begins nothing more. */
    void stop() { _isStopping = true; }
    /** Begins nothing more, and gives up what is being sent. */
    void giveUp();
    /** Goes on after `stop` or `giveUp`. */
    void resume();
    /** While something is being sent. */
    bool isBusy() const { return _inFlight > 0; }

Q_SIGNALS:
    /** A try has ended; the outbox holds what came of it. */
    void didTry(const VXOutboxEntry &entry);
    /** Nothing is being sent, and nothing is due. */
    void didBecomeIdle();

private:
    /** The open entries for one destination, in their order. */
    struct Queue
    {
        std::deque<VXOutboxEntry> entries;
        bool isInFlight = false;  // the first
        Cancel cancel = {};       // of what is in flight
        bool isConcluded = false; // what came of the first has yet to be written
        bool isHeld() const { return isInFlight || isConcluded; }
    };

    class News;
    using Clock = std::chrono::steady_clock;

    void observe();
    void takeNews(const QSet<qint64> &dropped, const QList<qint64> &due);
    void forget(const QSet<qint64> &numbers);
    bool join(qint64 number);
    void look();
    bool takeLock();
    bool releaseLock();
    bool load();
    bool write(const VXOutboxEntry &entry);
    void markInterrupted();
    void settleAll();
    void settle(Queue &queue);
    void proceed();
    void survey();
    void enlist(const Queue &queue, const VXOutboxSchedule &schedule);
    Queue *takeFirstDue();
    bool send(Queue &queue);
    Cancel deliver(const VXOutboxEntry &entry);
    void conclude(VXOutboxEntry entry, const VXOutboxDelivery &delivery);
    void plan();
    void tell(const char *method, const VXError &error);

    const QString _kind;
    const VXOutbox _outbox;
    const Deliver _deliver;
    std::unique_ptr<VXFileLock> _lock; // held while anything is being sent, and while what came of it is not written
    std::map<QString, Queue> _queues;  // by destination; as last seen
    bool _isSurveyed = false;          // the next two are as the queues are
    std::map<std::pair<QDateTime, qint64>, QString> _due; // when and as what the first of a destination was due
    std::optional<Clock::time_point> _soonest;            // when the next of the others is
    int _inFlight = 0;
    QTimer _timer; // of the next run
    QTimer _look;  // for what other processes left
    bool _isStopping = false;
    bool _isRunning = false;
    bool _isTroubled = false; // the store could not be read or written in this run
    int _troubledRuns = 0;    // in a row
};
