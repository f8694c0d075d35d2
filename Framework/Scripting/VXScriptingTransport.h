#pragma once

#include "VXEventDescriptor.h"

#include <QtCore/QStringList>

#include <functional>
#include <memory>

/** The result of sending an event; errors reported by the target are in the reply instead. */
enum VXScriptingStatus : qint32 {
    VXScriptingDone = 0,
    VXScriptingTargetNotRunning = -600,
    VXScriptingConnectionInvalid = -609, // no connection to other programs, or the target ended meanwhile
    VXScriptingTimeOut = -1712,
};

/** Error numbers ("errn") in replies. */
enum VXScriptingError : qint32 {
    VXScriptingCoercionFailed = -1700, // a value cannot be converted to the type that the target expects
    VXScriptingParameterMissing = -1701,
    VXScriptingEventNotHandled = -1708, // the target has no such event
    VXScriptingNoSuchObject = -1728,
    VXScriptingNotPermitted = -1743,
    VXScriptingEventFailed = -10000,
};

/** How an event is sent; to be added up. */
enum VXScriptingSendMode : qint32 {
    VXScriptingNoReply = 1,
    VXScriptingWaitReply = 3,
    VXScriptingNeverInteract = 16, // no user interaction on the way
};

/** The transport's own time-out. */
inline constexpr qint32 VXScriptingDefaultTimeOut = -1;

/** Transports events to other programs, and their replies back. Any thread, several at the same time. */
class VX_EXPORT VXScriptingTransport
{
public:
    virtual ~VXScriptingTransport();
    VXScriptingTransport(const VXScriptingTransport &) = delete;
    VXScriptingTransport &operator=(const VXScriptingTransport &) = delete;

    /**
     * Sends an event to its target; with VXScriptingWaitReply, blocks until the reply comes. `timeOut` in milliseconds.
     * @return VXScriptingStatus; the reply is null unless the status is VXScriptingDone and a reply was waited for.
     */
    virtual qint32 sendMessage(const VXEventDescriptor &event, VXEventDescriptor *reply, qint32 sendMode,
                               qint32 timeOut) = 0;
    /** Why no target can be reached, in the user's language; null when it depends on the target. */
    virtual QString problem() { return {}; }
    /** The process that runs as that target; 0 for none. */
    virtual qint64 pidForApplicationWithIdentifier(const QString &identifier) = 0;
    /** The running targets whose identifiers have the prefix, sorted. */
    virtual QStringList runningIdentifiers(const QString &prefix) = 0;

    using Maker = std::function<std::unique_ptr<VXScriptingTransport>()>;
    /** Sets the function that makes the process's transport when it is first needed; a transport already made is
     *  replaced. */
    static void setMaker(Maker maker);
    /** Without a maker, a transport that reaches no target. Never null. */
    static std::shared_ptr<VXScriptingTransport> sharedTransport();

protected:
    VXScriptingTransport();
};
