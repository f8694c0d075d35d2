#pragma once

#include "VXBusErrand.h"

#include <deque>

/**
 * What is asked of one phone over one channel, done one after the other; another phone, and another channel, has a queue of its
 * own and waits for none. A closed queue keeps what is asked until it is opened, or closed with an error. Main thread.
 */
class VXBusQueue : public QObject
{
    Q_OBJECT

public:
    /** Begins the first step, and sees to it that the errand is concluded in the end. */
    using Work = std::function<void(VXBusErrand &errand)>;

    explicit VXBusQueue(const VXBusService::Ptr &service) : _service(service) {}
    ~VXBusQueue() override;

    const VXBusService::Ptr &service() const { return _service; }

    /** Has it done, and concludes the action. What ends before it was begun was certainly not done: the result of
     *  "send_message" says so then (`failure` "later"). */
    void enqueue(const VXDeviceAction::Ptr &action, const Work &work);
    /** Has something done that nobody asked for. */
    void enqueue(const Work &work, const VXBusErrand::Conclusion &conclusion);

    bool isOpen() const { return _isOpen; }
    bool isBusy() const { return _current || !_jobs.empty(); }
    void open();
    /** Ends what is done and what waits with the error; none leaves them be. */
    void close(const VXError &error);
    /** Closes for good: what is asked from now on fails at once. */
    void stop();

Q_SIGNALS:
    /** Something waits, and the queue is closed. */
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
