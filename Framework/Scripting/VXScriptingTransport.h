#pragma once

#include "VXEventDescriptor.h"

#include <QtCore/QStringList>

#include <functional>
#include <memory>

/** What became of an event on its way; an error that the target answers stands in the reply instead. */
enum VXScriptingStatus : qint32 {
    VXScriptingDone = 0,
    VXScriptingTargetNotRunning = -600,
    VXScriptingConnectionInvalid = -609, // there is no connection to other programs, or the target ended meanwhile
    VXScriptingTimeOut = -1712,
};

/** Error numbers ("errn") in replies. */
enum VXScriptingError : qint32 {
    VXScriptingCoercionFailed = -1700, // a value is not of the type that the target wants
    VXScriptingParameterMissing = -1701,
    VXScriptingEventNotHandled = -1708, // the target has no such event
    VXScriptingNoSuchObject = -1728,
    VXScriptingNotPermitted = -1743,
    VXScriptingEventFailed = -10000,
};

/** How an event is sent; added up. */
enum VXScriptingSendMode : qint32 {
    VXScriptingNoReply = 1,
    VXScriptingWaitReply = 3,
    VXScriptingNeverInteract = 16, // nobody is asked anything on the way
};

/** The transport's own time-out. */
inline constexpr qint32 VXScriptingDefaultTimeOut = -1;

/** Carries events to other programs, and their replies back. Any thread, several at once. */
class VX_EXPORT VXScriptingTransport
{
public:
    virtual ~VXScriptingTransport();
    VXScriptingTransport(const VXScriptingTransport &) = delete;
    VXScriptingTransport &operator=(const VXScriptingTransport &) = delete;

    /**
     * Sends an event to its target, and with VXScriptingWaitReply blocks until that replies. `timeOut` in milliseconds.
     * @return VXScriptingStatus; only with VXScriptingDone there is a reply, null unless it was waited for.
     */
    virtual qint32 sendMessage(const VXEventDescriptor &event, VXEventDescriptor *reply, qint32 sendMode,
                               qint32 timeOut) = 0;
    /** Why nobody can be reached, for people; null when that is up to the targets. */
    virtual QString problem() { return {}; }
    /** The process that runs as that target; 0 when none does. */
    virtual qint64 pidForApplicationWithIdentifier(const QString &identifier) = 0;
    /** The targets that run, sorted, whose identifiers begin with the prefix. */
    virtual QStringList runningIdentifiers(const QString &prefix) = 0;

    using Maker = std::function<std::unique_ptr<VXScriptingTransport>()>;
    /** Who makes the process's transport when it is first wanted; takes the place of one that was made. */
    static void setMaker(Maker maker);
    /** Without a maker one that reaches nobody. Never null. */
    static std::shared_ptr<VXScriptingTransport> sharedTransport();

protected:
    VXScriptingTransport();
};
