#pragma once

#include "VXDeviceAction.h"
#include "VXGammuSession.h"

/** The actions on a phone's contacts, for the phone's worker: each answers what went wrong, or nothing. */
class VXGammuContacts
{
public:
    /** The contacts of the memory that the action's object names ("memory"), else of phone and card. */
    static VXError read(VXGammuSession &session, VXDeviceAction &action);
    /** Writes the action's object: in place of the contact at its "memory" and "location", else as a new one. What
     *  that contact holds and no key stands for is kept. The result tells where it lies, and what did not fit. */
    static VXError write(VXGammuSession &session, VXDeviceAction &action);
    /** Deletes the contact at the object's "memory" and "location". */
    static VXError remove(VXGammuSession &session, VXDeviceAction &action);

    VXGammuContacts() = delete;
};
