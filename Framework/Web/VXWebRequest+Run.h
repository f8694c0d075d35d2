#pragma once

#include "VXWebRequest.h"
#include "VXWebTransfer.h"

/**
 * From a start, or the cancelling of what was never started, until the delegate has been told. All of it is under the
 * request's lock. The request begins no other before this one is at `Telling`, so that until then it is the last.
 */
struct VXWebRequest::Run
{
    enum class State {
        Running,
        Ended,   // what came of it is certain; the first to come by on the main thread takes it up
        Closing, // it was taken up
        Telling, // the delegate is being told, and may start the request again
        Told,
    };
    State state = State::Running;
    bool wasStarted = true;
    bool hasTurn = false; // on a thread
    bool wasCancelled = false;
    VXError failure = {}; // why it was stopped
    VXActivity::Ptr activity = {};
    std::shared_ptr<VXWebTransfer> transfer = {}; // while it is performed
    bool didSendRequest = false;                  // after that
    VXFormRedirect formRedirect = {};
};
