#pragma once

#include <QtCore/QDateTime>
#include <QtCore/QString>
#include <QtCore/QVariant>

#include <functional>
#include <gammu.h>
#include <vector>

/**
 * Follows the calls of a phone: works out from what it reports, and from what it was asked to do, that a call rings, is
 * connected and has ended, and reports each once. One thread.
 */
class VXGammuCallTracker
{
public:
    /** Told of each step: the event "incoming_call" or "outgoing_call", the step "ringing", "connected" or "ended", and
     *  the call, with the keys that the plugin's README lists for calls. */
    using Listener = std::function<void(const QString &event, const QString &step, const QVariantMap &call)>;

    /** `now` returns the current time. */
    explicit VXGammuCallTracker(Listener listener, std::function<QDateTime()> now = QDateTime::currentDateTimeUtc);

    /** What the phone reported. */
    void didReport(const GSM_Call &call);
    /** What the phone did on request. */
    void didDial(const QString &number);
    void didAnswer();
    void didHangUp();
    /** To be called from time to time for a phone that reports a call each time it rings. Such phones do not report the
     *  end of an unanswered call, so one that has stopped ringing without an answer counts as ended. */
    void endThoseThatRingNoMore();
    /** The phone is gone: nothing more will be reported about its calls. */
    void didLosePhone();

private:
    struct Call
    {
        bool isIncoming;
        QString number;
        QDateTime began;
        QDateTime connected; // null while it rings
        QDateTime rang;      // last time
    };
    using Calls = std::vector<Call>;

    Calls::iterator find(const QString &number);
    void begin(bool isIncoming, const QString &number);
    void connect(const QString &number);
    void end(const QString &number);
    void tell(const Call &call, const QString &step) const;

    const Listener _listener;
    const std::function<QDateTime()> _now;
    Calls _calls; // calls in progress, the latest last
};
