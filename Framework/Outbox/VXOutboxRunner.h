#pragma once

#include "VXFileLock.h"
#include "VXFrameworkExport.h"
#include "VXOutbox.h"

#include <QtCore/QHash>
#include <QtCore/QObject>
#include <QtCore/QTimer>

#include <functional>
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
 * that one whose program ended meanwhile is not sent again by itself. Main thread only.
 */
class VX_EXPORT VXOutboxRunner : public QObject
{
    Q_OBJECT

public:
    using Completion = std::function<void(const VXOutboxDelivery &delivery)>;
    /** Begins to send the entry, and calls the completion once on the main thread. */
    using Deliver = std::function<void(const VXOutboxEntry &entry, Completion completion)>;

    VXOutboxRunner(const QString &kind, const VXOutbox &outbox, Deliver deliver);
    ~VXOutboxRunner() override;

    /** Whether a runner of that kind lives in this process. */
    static bool isServed(const QString &kind);

    /** Sends what is due; what is not is tried when its time has come. */
    void run();
    /** Begins nothing more. */
    void stop() { _isStopping = true; }
    /** While something is being sent. */
    bool isBusy() const { return !_inFlight.isEmpty(); }

Q_SIGNALS:
    /** A try has ended; the outbox holds what came of it. */
    void didTry(const VXOutboxEntry &entry);
    /** Nothing is being sent, and nothing is due. */
    void didBecomeIdle();

private:
    bool takeLock();
    void markInterrupted(const QList<VXOutboxEntry> &entries);
    void sendDue(const QList<VXOutboxEntry> &entries);
    void send(VXOutboxEntry entry);
    void conclude(VXOutboxEntry entry, const VXOutboxDelivery &delivery);
    void runLater(const QList<VXOutboxEntry> &entries);

    const QString _kind;
    const VXOutbox _outbox;
    const Deliver _deliver;
    std::unique_ptr<VXFileLock> _lock; // held while anything is being sent
    QHash<qint64, QString> _inFlight;  // destinations by number
    QTimer _timer;
    bool _isStopping = false;
    bool _isRunning = false;
};
