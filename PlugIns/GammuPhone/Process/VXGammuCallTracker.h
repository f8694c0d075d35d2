#pragma once

#include <QtCore/QDateTime>
#include <QtCore/QString>
#include <QtCore/QVariant>

#include <functional>
#include <gammu.h>
#include <vector>

/**
 * Follows the calls of a phone: makes out of what it reports, and of what it was asked to do, that a call rings, is
 * connected and has ended, each once. One thread.
 */
class VXGammuCallTracker
{
public:
    /** Told of each step: the event "incoming_call" or "outgoing_call", "ringing", "connected" or "ended", and the
     *  call, with the keys of a call in the plugin's README. */
    using Listener = std::function<void(const QString &event, const QString &step, const QVariantMap &call)>;

    /** `now` is the clock. */
    explicit VXGammuCallTracker(Listener listener, std::function<QDateTime()> now = QDateTime::currentDateTimeUtc);

    /** What the phone reported. */
    void didReport(const GSM_Call &call);
    /** What the phone did when asked. */
    void didDial(const QString &number);
    void didAnswer();
    void didHangUp();
    /** To be called every now and then for a phone that reports a call each time it rings: one that rings no more, and
     *  was not answered, has ended, of which such phones tell nothing. */
    void endThoseThatRingNoMore();
    /** The phone is gone: nothing more will be told of its calls. */
    void didLosePhone();

private:
    struct Call
    {
        bool isIncoming;
        QString number;
        QDateTime began;
        QDateTime connected; // null while it rings
        QDateTime rang;      // last
    };
    using Calls = std::vector<Call>;

    Calls::iterator find(const QString &number);
    void begin(bool isIncoming, const QString &number);
    void connect(const QString &number);
    void end(const QString &number);
    void tell(const Call &call, const QString &step) const;

    const Listener _listener;
    const std::function<QDateTime()> _now;
    Calls _calls; // those that go on, the latest last
};
