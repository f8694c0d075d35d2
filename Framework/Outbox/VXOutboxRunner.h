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

/** The result of an attempt to send an entry. */
struct VXOutboxDelivery
{
    enum class Outcome {
        Sent,
        Refused,      // would be refused again, too
        NotDelivered, // it certainly did not arrive: to be tried again later
        Unknown,      // it may have arrived
    };
    Outcome outcome = Outcome::Unknown;
    QString problem = {}; // in the user's language; null for none
};

/**
 * Sends the entries of one kind from the outbox: those for one destination one after the other, in order; a few
 * destinations at the same time. What did not arrive is tried again after 10 seconds (the user default
 * "outbox.retry-delay"), then each time after twice as long, up to an hour. Of all processes one sends at a time. An
 * entry is marked before it is sent, so one whose program ended meanwhile is not sent again automatically; a result
 * that cannot be written is kept in memory until it can. Entries that are added or made due in this process are sent at
 * once; those that other processes leave, or left before the start, within a few seconds. Dropping entries does not
 * cause others to be sent. Main thread only.
 */
class VX_EXPORT VXOutboxRunner : public QObject
{
    Q_OBJECT

public:
    using Completion = std::function<void(const VXOutboxDelivery &delivery)>;
    /** Cancels a delivery: its completion is called at once or soon. Called on the main thread. */
    using Cancel = std::function<void()>;
    /** Begins to send the entry, and calls the completion once, on the main thread. Returns null if it cannot be
     *  cancelled. If it throws, the attempt is over, and the entry may have been sent. */
    using Deliver = std::function<Cancel(const VXOutboxEntry &entry, Completion completion)>;

    VXOutboxRunner(const QString &kind, const VXOutbox &outbox, Deliver deliver);
    ~VXOutboxRunner() override;

    /** Settles the entries that were being sent by programs that have ended since; leaves out kinds that a program is
     *  sending at present. */
    static void settleInterrupted(const VXOutbox &outbox);
    /** Whether this process has a runner of that kind. */
    static bool isServed(const QString &kind);

    /** Sends what is due; the rest is tried when its time has come. */
    void run();
    /** Begins nothing new. */
    void stop() { _isStopping = true; }
    /** Begins nothing new, and cancels what is being sent. */
    void giveUp();
    /** Continues after `stop` or `giveUp`. */
    void resume();
    /** Whether anything is being sent. */
    bool isBusy() const { return _inFlight > 0; }

Q_SIGNALS:
    /** An attempt has ended; its result is in the outbox. */
    void didTry(const VXOutboxEntry &entry);
    /** Nothing is being sent, and nothing is due. */
    void didBecomeIdle();

private:
    /** The open entries for one destination, in order. */
    struct Queue
    {
        std::deque<VXOutboxEntry> entries;
        bool isInFlight = false;  // the first entry is being sent
        Cancel cancel = {};       // cancels that
        bool isConcluded = false; // the result of the first entry is not written yet
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
    std::unique_ptr<VXFileLock> _lock; // held while anything is being sent, or a result is not written yet
    std::map<QString, Queue> _queues;  // by destination; as last read
    bool _isSurveyed = false;          // whether _due and _soonest agree with the queues
    // destinations whose first entry is due, by its due date and number
    std::map<std::pair<QDateTime, qint64>, QString> _due;
    std::optional<Clock::time_point> _soonest; // when the first entry of another destination becomes due
    int _inFlight = 0;
    QTimer _timer; // for the next run
    QTimer _look;  // for checking what other processes left
    bool _isStopping = false;
    bool _isRunning = false;
    bool _isTroubled = false; // the store could not be read or written in this run
    int _troubledRuns = 0;    // runs in a row with _isTroubled
};
