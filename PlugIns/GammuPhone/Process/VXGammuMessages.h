#pragma once

#include "VXGammuJob.h"
#include "VXGammuSession.h"

/** The actions on a phone's messages; each returns what went wrong, or nothing. */
class VXGammuMessages
{
public:
    /** Reads all messages of phone and card; parts of long ones are joined. */
    static VXGammuFailure read(VXGammuSession &session, VXGammuJob &job);
    /** Sends the object's "text" to its "number", in as many parts as necessary. If that fails, the result's "failure"
     *  tells what is certain: "refused" (it would be refused again) or "later" (it was not sent); without it, the
     *  message may have been sent. */
    static VXGammuFailure send(VXGammuSession &session, VXGammuJob &job);
    /** Gives the message at the object's "memory" and "locations" its "state"; an object without a place is written as
     *  a new message, into the folder for its "direction". */
    static VXGammuFailure write(VXGammuSession &session, VXGammuJob &job);
    /** Deletes the message at the object's "memory" and "locations" (or "location"), as reading and events provide
     *  them, after making sure that it is stored there. */
    static VXGammuFailure remove(VXGammuSession &session, VXGammuJob &job);

    /** Reads the message that a phone reported from its place; empty if it cannot be read. */
    static QVariantMap reported(VXGammuSession &session, const GSM_SMSMessage &message);

    VXGammuMessages() = delete;
};
