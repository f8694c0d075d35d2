#pragma once

#include "VXWebRequest.h"
#include "VXWebTransfer.h"

/**
 * A run of a request: from its start, or from the cancelling of a request that was never started, until the delegate
 * has been notified. All members are guarded by the request's lock. The request begins no other run before this one is
 * `Telling`, so until then this is its last run.
 */
struct VXWebRequest::Run
{
    enum class State {
        Running,
        Ended,   // the result is final; the first to get to it on the main thread completes it
        Closing, // is being completed
        Telling, // the delegate is being notified, and may start the request again
        Told,
    };
    State state = State::Running;
    bool wasStarted = true;
    bool hasTurn = false; // it runs on a thread
    bool wasCancelled = false;
    VXError failure = {}; // why it was stopped
    VXActivity::Ptr activity = {};
    std::shared_ptr<VXWebTransfer> transfer = {}; // while it is being performed
    bool didSendRequest = false;                  // after that
    VXFormRedirect formRedirect = {};
};
