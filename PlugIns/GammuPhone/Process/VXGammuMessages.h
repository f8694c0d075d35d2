#pragma once

#include "VXGammuJob.h"
#include "VXGammuSession.h"

/** The actions on a phone's messages, each answers what went wrong, or nothing. */
class VXGammuMessages
{
public:
    /** All messages of phone and card; parts of long ones are joined. */
    static VXGammuFailure read(VXGammuSession &session, VXGammuJob &job);
    /** Sends the object's "text" to its "number", in as many parts as it takes. When that fails, the result's "failure" tells what
     *  is certain: "refused" (it would be again) and "later" (it was not sent); else it may have been. */
    static VXGammuFailure send(VXGammuSession &session, VXGammuJob &job);
    /** Gives the message at the object's "memory" and "locations" its "state"; an object without a place is written as a new
     *  message, into the folder that its "direction" tells. */
    static VXGammuFailure write(VXGammuSession &session, VXGammuJob &job);
    /** Deletes the message at the object's "memory" and "locations" (or "location"), as reading and events give them,
     *  once it is sure that it lies there. */
    static VXGammuFailure remove(VXGammuSession &session, VXGammuJob &job);

    /** The message that a phone reported, read from where it lies; empty when it cannot be read. */
    static QVariantMap reported(VXGammuSession &session, const GSM_SMSMessage &message);

    VXGammuMessages() = delete;
};
