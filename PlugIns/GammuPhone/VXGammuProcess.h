#pragma once

#include "VXGammuProtocol.h"

#include <QtCore/QObject>
#include <QtCore/QProcess>

/**
 * The process that holds the connection to one phone, as its device sees it. It ends with the connection; whatever makes
 * it end is told once, by `didEnd`. Main thread; nothing here waits.
 */
class VXGammuProcess : public QObject
{
    Q_OBJECT

public:
    /** Starts the program, and has it connect as these preferences say. */
    VXGammuProcess(const QString &program, const QVariantMap &configuration);
    ~VXGammuProcess() override;

    template <class Message>
    void send(const Message &message)
    {
        _process->write(VXGammuProtocol::encode(message));
    }
    /** Asks the process to stop what it does, and ends it when it does not. */
    void cancel();

Q_SIGNALS:
    void didReceive(const QCborArray &message);
    /** The phone is lost, or was never reached: nothing is to be sent any more. */
    void willEnd();
    /** Nothing comes any more. */
    void didEnd(const VXGammuFailure &failure);

private:
    void read();
    void finish(const QString &reason);

    QProcess *_process; // outlives this one until it has taken leave of the phone
    VXGammuFrames _frames;
    VXGammuFailure _failure;
    bool _hasEnded = false;
};
