#pragma once

#include "VXGammuJob.h"
#include "VXGammuSession.h"

/** The actions on a phone's contacts, each answers what went wrong, or nothing. */
class VXGammuContacts
{
public:
    /** The contacts of the memory that the request's object names ("memory"), else of phone and card. */
    static VXGammuFailure read(VXGammuSession &session, VXGammuJob &job);
    /** Writes the request's object: in place of the contact at its "memory" and "location", else as a new one. What
     *  that contact holds and no key stands for is kept. The result tells where it lies, what did not fit, and what the
     *  phone has made of it. Refused where "expected", the contact as it was read, is not what lies there. */
    static VXGammuFailure write(VXGammuSession &session, VXGammuJob &job);
    /** Deletes the contact at the object's "memory" and "location", which is "expected" as above. */
    static VXGammuFailure remove(VXGammuSession &session, VXGammuJob &job);

    VXGammuContacts() = delete;
};
