#pragma once

#include "VXFileLock.h"
#include "VXFrameworkExport.h"
#include "VXOutbox.h"

#include <QtCore/QObject>
#include <QtCore/QTimer>

#include <deque>
#include <functional>
#include <map>
#include <memory>

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
 * that one whose program ended meanwhile is not sent again by itself. What is added or changed in this process is seen
 * at once, what other processes add when nothing is being sent here. Main thread only.
 */
class VX_EXPORT VXOutboxRunner : public QObject
{
    Q_OBJECT

public:
    using Completion = std::function<void(const VXOutboxDelivery &delivery)>;
    /** Gives a delivery up: its completion is called at once or soon. On the main thread. */
    using Cancel = std::function<void()>;
    /** Begins to send the entry, and calls the completion once on the main thread. Null: it cannot be given up. */
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
    /** The open entries for one destination, in their order. Only the first may be in flight. */
    struct Queue
    {
        std::deque<VXOutboxEntry> entries;
        bool isInFlight = false;
        Cancel cancel = {}; // of what is in flight
    };

    class News;

    void takeNews(const QList<qint64> &numbers);
    bool putBehind(qint64 number);
    bool takeLock();
    bool load();
    bool write(const VXOutboxEntry &entry);
    void markInterrupted();
    void proceed();
    void sendDue();
    static bool canSend(const Queue &queue, const QDateTime &now);
    bool send(Queue &queue);
    void conclude(VXOutboxEntry entry, const VXOutboxDelivery &delivery);
    void runLater();

    const QString _kind;
    const VXOutbox _outbox;
    const Deliver _deliver;
    std::unique_ptr<VXFileLock> _lock; // held while anything is being sent
    std::map<QString, Queue> _queues;  // by destination, none is empty; exact while the lock is held, else as last seen
    int _inFlight = 0;
    QTimer _timer;
    bool _isStopping = false;
    bool _isRunning = false;
    bool _isWriting = false; // what it hears of then is its own
};
