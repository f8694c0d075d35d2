#pragma once

#include <QtCore/QDateTime>
#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QVariant>

#include <functional>
#include <vector>

/**
 * The calls of one phone, as its service reports them. Turns that into the events of each call, in order and each once,
 * with the keys of records. A service's name for a call means nothing once the call has ended, so the call is reported
 * under an identifier of its own. One thread.
 */
class VXPhoneCalls
{
public:
    /** Told of each step: the event "incoming_call" or "outgoing_call", the step "ringing", "connected" or "ended", and
     *  the call. */
    using Listener = std::function<void(const QString &event, const QString &step, const QVariantMap &call)>;

    struct Call
    {
        QString key; // the service's name for it
        bool isIncoming = false;
        QString number; // empty: withheld, or unknown
        QString identifier = {};
        QDateTime began = {};
        QDateTime connected = {}; // null while it rings
    };

    /** `now` returns the current time. */
    explicit VXPhoneCalls(Listener listener, std::function<QDateTime()> now = QDateTime::currentDateTimeUtc);

    /** A call rings, here or at the other end; a known one may have got its number. */
    void ring(const QString &key, bool isIncoming, const QString &number);
    /** Somebody answered it. */
    void connect(const QString &key);
    /** What is known of a call that is over: everything, or not whether it was answered. */
    enum class End { Known, Unknown };
    /** The call is over; unknown calls are ignored. */
    void end(const QString &key, End knowledge = End::Known);
    /** The service or the phone is gone: nothing more will be reported about its calls. */
    void endAll();

    bool isEmpty() const { return _calls.empty(); }
    bool contains(const QString &key) const;
    /** The identifier under which the call is reported; null for an unknown call. */
    QString identifier(const QString &key) const;
    /** Keys of the calls that ring here, or of all; the oldest first. */
    QStringList keys(bool onlyRingingHere = false) const;

private:
    void tell(const Call &call, const QString &step, End knowledge = End::Known) const;

    const Listener _listener;
    const std::function<QDateTime()> _now;
    std::vector<Call> _calls; // those that go on, the oldest first
};
