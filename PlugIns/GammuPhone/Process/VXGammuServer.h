#pragma once

#include "VXGammuCalls.h"
#include "VXGammuChannel.h"
#include "VXGammuJob.h"
#include "VXGammuSession.h"

/** What the process does: it connects to a phone, works off what its device asks for, and tells what the phone reports. */
class VXGammuServer
{
public:
    /** Descriptors of the device's messages and of the answers. */
    VXGammuServer(int input, int output);

    /** Until the device hangs up, or the phone is lost. */
    void run();

private:
    bool connect();
    void perform(const VXGammuProtocol::Request &request);
    VXGammuFailure work(const QString &action, VXGammuJob &job);
    void listen();
    void tellReports();
    void tellState(const QVariantMap &more = {});
    void tellCall(const QString &event, const QString &step, const QVariantMap &call);

    VXGammuSession _session;
    VXGammuChannel _channel;
    VXGammuCalls _calls;
};
