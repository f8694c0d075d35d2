#pragma once

#include "VXMutex.h"

#include <QtCore/QByteArray>
#include <QtCore/QHash>
#include <QtCore/QList>
#include <QtCore/QString>

#include <functional>
#include <thread>

/**
 * A phone that speaks AT commands (3GPP TS 27.007 and 27.005) at the other end of a pseudo-terminal. It answers a
 * command as it was told to, else what a phone with three contacts and no messages would, else "ERROR". Any thread.
 */
class VXScriptedModem
{
public:
    VXScriptedModem();
    ~VXScriptedModem();

    /** The file that stands for the phone's port. */
    QString port() const { return _port; }

    /** From now on the command is answered by these lines before "OK". */
    void answer(const QByteArray &command, const QByteArray &lines);
    /** Called on the modem's thread in place of answering the command. */
    void intercept(const QByteArray &command, const std::function<void()> &act);
    /** Answers nothing any more. */
    void fallSilent();
    /** Says something by itself. */
    void say(const QByteArray &line);
    /** As if the cable was pulled: the port vanishes. */
    void unplug();

    /** The commands so far, texts of messages among them. */
    QList<QByteArray> commands() const;
    bool wasAsked(const QByteArray &command) const { return commands().contains(command); }

private:
    void run();
    void take(const QByteArray &command);
    void write(const QByteArray &bytes);

    QString _port;
    int _wake[2] = {-1, -1};
    mutable VXMutex _lock;
    int _terminal VX_GUARDED_BY(_lock) = -1;
    QList<QByteArray> _commands VX_GUARDED_BY(_lock);
    QHash<QByteArray, QByteArray> _answers VX_GUARDED_BY(_lock);
    QHash<QByteArray, std::function<void()>> _interceptions VX_GUARDED_BY(_lock);
    bool _isSilent VX_GUARDED_BY(_lock) = false;
    std::thread _thread; // last: it uses the rest
};
