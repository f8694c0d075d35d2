#pragma once

#include "VXGammuCalls.h"
#include "VXGammuChannel.h"
#include "VXGammuJob.h"
#include "VXGammuSession.h"

/**
 * What the process does: it connects to a phone, works through its device's requests, and passes on what the phone
 * reports.
 */
class VXGammuServer
{
public:
    /** Descriptors for the device's messages and for the answers. */
    VXGammuServer(int input, int output);

    /** Returns when the device hangs up or the phone is lost. */
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
