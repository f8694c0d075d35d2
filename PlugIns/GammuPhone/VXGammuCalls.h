#pragma once

#include "VXDeviceAction.h"
#include "VXGammuCallTracker.h"
#include "VXGammuSession.h"

/** The actions on a phone's calls, for the phone's worker: each answers what went wrong, or nothing. */
class VXGammuCalls
{
public:
    explicit VXGammuCalls(VXGammuCallTracker::Listener listener) : _tracker(std::move(listener)) {}

    VXGammuCallTracker &tracker() { return _tracker; }

    /** The phone's lists of missed, received and dialled calls. */
    static VXError read(VXGammuSession &session, VXDeviceAction &action);
    /** Dials the action's object: a number, or a dictionary with a "number". */
    VXError dial(VXGammuSession &session, VXDeviceAction &action);
    VXError answer(VXGammuSession &session, VXDeviceAction &action);
    /** Ends all calls, or refuses the one that rings. */
    VXError hangUp(VXGammuSession &session, VXDeviceAction &action);

private:
    VXGammuCallTracker _tracker;
};
