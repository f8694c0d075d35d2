#pragma once

#include "VXDeviceAction.h"
#include "VXGammuSession.h"

/** The actions on a phone's messages, for the phone's worker: each answers what went wrong, or nothing. */
class VXGammuMessages
{
public:
    /** All messages of phone and card; parts of long ones are joined. */
    static VXError read(VXGammuSession &session, VXDeviceAction &action);
    /** Sends the object's "text" to its "number", in as many parts as it takes. */
    static VXError send(VXGammuSession &session, VXDeviceAction &action);
    /** Deletes the message at the object's "locations" (or "location"), as reading gave them. */
    static VXError remove(VXGammuSession &session, VXDeviceAction &action);

    /** The message that a phone reported, read from where it lies; empty when it can not be read. */
    static QVariantMap reported(VXGammuSession &session, const GSM_SMSMessage &message);

    VXGammuMessages() = delete;
};
