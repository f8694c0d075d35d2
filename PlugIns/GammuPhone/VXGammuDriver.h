#pragma once

#include "VXDeviceAction.h"
#include "VXGammuProcess.h"

#include <QtCore/QObject>
#include <QtCore/QVariant>

#include <deque>
#include <functional>

/**
 * Has the process of a phone carry out requests to the phone, one after the other, and passes on what the phone
 * reports. The process is started for the first request, and again after a connection was lost. Main thread.
 */
class VXGammuDriver : public QObject
{
    Q_OBJECT

public:
    /** The preferences that say how the phone is reached, asked anew for each connection. */
    using Configure = std::function<QVariantMap()>;
    /** Adds to something that was read what only the device knows. */
    using Complete = std::function<void(QVariantMap &record)>;

    VXGammuDriver(const QString &program, Configure configure, Complete complete = {});
    ~VXGammuDriver() override;

    /** Connects if necessary, has the request carried out, and concludes the action. With a null action, only the state
     *  is requested. */
    void enqueue(const VXDeviceAction::Ptr &action);
    /** True while a request to the phone is in progress or waiting. */
    bool isBusy() const { return _isAsking || !_jobs.empty(); }
    bool isConnected() const { return _isConnected && !_isEnding; }

    /** Concludes waiting and running requests with an error, and hangs up. */
    void stop();

Q_SIGNALS:
    /** What the phone says about itself: first when it was reached. */
    void didTellProperties(const QVariantMap &values);
    /** The connection is lost. */
    void didClose(const VXError &reason);
    void didFailToOpen(const VXError &error);
    void didReport(const QString &event, const QString &step, const QVariantMap &object);

private:
    struct Job
    {
        VXDeviceAction::Ptr action; // null: asks for the state
        QVariantList items;
        bool wasAsked = false; // of a phone that was there
    };

    void askNext();
    void start();
    void take(const QCborArray &message);
    void takeProgress(const QCborArray &message);
    void handOver(const VXDeviceAction::Ptr &action);
    void concludeCurrent(const QVariantMap &result, const VXError &error);
    void processDidEnd(const VXGammuFailure &failure);
    void cancel(const VXDeviceAction *action);
    void fail(const Job &job, const VXError &error);

    const QString _program;
    const Configure _configure;
    const Complete _complete;     // may be none
    VXGammuProcess::Ptr _process; // null: not connected
    std::deque<Job> _jobs;        // the first is asked for while _isAsking
    bool _isAsking = false;
    bool _isConnected = false;
    bool _isEnding = false; // the process is ending: another replaces it once it is gone
    bool _isStopped = false;
};
