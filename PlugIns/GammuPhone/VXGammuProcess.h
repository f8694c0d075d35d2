#pragma once

#include "VXGammuProtocol.h"

#include <QtCore/QObject>
#include <QtCore/QProcess>

#include <memory>

/**
 * The process that holds the connection to one phone, as its device sees it. It ends with the connection; whatever makes
 * it end is told once, by `didEnd`. Whoever lets go of it hears no more of it, and may do so while it tells something: it is
 * deleted by the event loop. Main thread; nothing here waits.
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

    /** Starts the program, and has it connect as these preferences say. */
    static Ptr start(const QString &program, const QVariantMap &configuration);

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
    VXGammuProcess(const QString &program, const QVariantMap &configuration);
    ~VXGammuProcess() override = default; // by the event loop only

    void hangUp();
    void read();
    void finish(const QString &reason);

    QProcess *_process; // once hung up it lives until it has taken leave of the phone
    VXGammuFrames _frames;
    VXGammuFailure _failure;
    bool _hasEnded = false;
    bool _isHungUp = false; // the process is not this one's any more
};
