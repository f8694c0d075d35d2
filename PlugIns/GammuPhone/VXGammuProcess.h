#pragma once

#include "VXGammuProtocol.h"

#include <QtCore/QObject>
#include <QtCore/QProcess>

#include <memory>

/**
 * The process that holds the connection to one phone, as seen by its device. It ends with the connection; whatever
 * makes it end is reported once, by `didEnd`. A caller that lets go of it hears nothing more from it, and may let go
 * while it is reporting: it is deleted by the event loop. Main thread; nothing here waits.
 */
class VXGammuProcess : public QObject
{
    Q_OBJECT

public:
    struct HangUp
    {
        void operator()(VXGammuProcess *process) const { process->hangUp(); }
    };
    using Ptr = std::unique_ptr<VXGammuProcess, HangUp>;

    /** Starts the program, and has it connect according to these preferences. */
    static Ptr start(const QString &program, const QVariantMap &configuration);

    template <class Message>
    void send(const Message &message)
    {
        _process->write(VXGammuProtocol::encode(message));
    }
    /** Asks the process to stop what it is doing, and ends it if it does not. */
    void cancel();

Q_SIGNALS:
    void didReceive(const QCborArray &message);
    /** The phone is lost, or was never reached: nothing more may be sent. */
    void willEnd();
    /** Nothing more will arrive. */
    void didEnd(const VXGammuFailure &failure);

private:
    VXGammuProcess(const QString &program, const QVariantMap &configuration);
    ~VXGammuProcess() override = default; // by the event loop only

    void hangUp();
    void read();
    void finish(const QString &reason);

    QProcess *_process; // after hanging up it lives until it has said goodbye to the phone
    VXGammuFrames _frames;
    VXGammuFailure _failure;
    bool _hasEnded = false;
    bool _isHungUp = false; // the process no longer belongs to this object
};
