#pragma once

#include "VXGammuCallTracker.h"
#include "VXGammuJob.h"
#include "VXGammuSession.h"

/** The actions on a phone's calls; each returns what went wrong, or nothing. */
class VXGammuCalls
{
public:
    explicit VXGammuCalls(VXGammuCallTracker::Listener listener) : _tracker(std::move(listener)) {}

    VXGammuCallTracker &tracker() { return _tracker; }

    /** The phone's lists of missed, received and dialled calls. */
    static VXGammuFailure read(VXGammuSession &session, VXGammuJob &job);
    /** Dials the request's object: a number, or a dictionary with a "number". */
    VXGammuFailure dial(VXGammuSession &session, VXGammuJob &job);
    VXGammuFailure answer(VXGammuSession &session, VXGammuJob &job);
    /** Ends all calls, or rejects the one that rings. */
    VXGammuFailure hangUp(VXGammuSession &session, VXGammuJob &job);

private:
    VXGammuCallTracker _tracker;
};
