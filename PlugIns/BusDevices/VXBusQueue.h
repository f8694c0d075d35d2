#pragma once

#include "VXBusErrand.h"

#include <deque>

/**
 * Requests to one phone over one channel, carried out one after the other. Another phone, or another channel, has a
 * queue of its own and does not wait. A closed queue keeps its requests until it is opened, or closed with an error.
 * Main thread.
 */
class VXBusQueue : public QObject
{
    Q_OBJECT

public:
    /** Begins the first step, and makes sure that the errand is concluded in the end. */
    using Work = std::function<void(VXBusErrand &errand)>;

    explicit VXBusQueue(const VXBusService::Ptr &service) : _service(service) {}
    ~VXBusQueue() override;

    const VXBusService::Ptr &service() const { return _service; }

    /** Queues the work for an action, and concludes the action. If it ends before the work was begun, it was certainly
     *  not done: the result of "send_message" then says so (`failure` "later"). */
    void enqueue(const VXDeviceAction::Ptr &action, const Work &work);
    /** Queues work that nobody asked for. */
    void enqueue(const Work &work, const VXBusErrand::Conclusion &conclusion);

    bool isOpen() const { return _isOpen; }
    bool isBusy() const { return _current || !_jobs.empty(); }
    void open();
    /** Ends current and waiting work with the error; without an error, both are left alone. */
    void close(const VXError &error);
    /** Closes for good: later requests fail at once. */
    void stop();

Q_SIGNALS:
    /** Something is waiting, and the queue is closed. */
    void isWanted();

private:
    struct Job
    {
        VXDeviceAction::Ptr action; // may be null
        Work work;
        VXBusErrand::Conclusion conclusion; // may be none
    };

    void add(const Job &job);
    void beginNext();
    void withdraw(const VXDeviceAction *action);
    void finish(const Job &job, const QVariantMap &result, const VXError &error);
    void drop(const Job &job, const VXError &error);

    const VXBusService::Ptr _service;
    std::deque<Job> _jobs; // those that wait
    VXBusErrand::Ptr _current;
    bool _isOpen = false;
    bool _isStopped = false;
};
