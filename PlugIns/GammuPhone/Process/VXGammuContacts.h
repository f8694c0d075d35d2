#pragma once

#include "VXGammuJob.h"
#include "VXGammuSession.h"

/** The actions on a phone's contacts; each returns what went wrong, or nothing. */
class VXGammuContacts
{
public:
    /** Reads the contacts of the memory that the request's object names ("memory"), else of phone and card. */
    static VXGammuFailure read(VXGammuSession &session, VXGammuJob &job);
    /** Writes the request's object: it replaces the contact at its "memory" and "location", or becomes a new one if it
     *  has none. Values of that contact for which there is no key are kept. The result tells where it is stored, what
     *  did not fit, and what the phone has made of it. Refused if "expected", the contact as it was read, is not what
     *  is stored there. */
    static VXGammuFailure write(VXGammuSession &session, VXGammuJob &job);
    /** Deletes the contact at the object's "memory" and "location", with "expected" as above. */
    static VXGammuFailure remove(VXGammuSession &session, VXGammuJob &job);

    VXGammuContacts() = delete;
};
