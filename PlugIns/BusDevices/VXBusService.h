#pragma once

#include "VXBusLink.h"

#include <QtCore/QHash>
#include <QtCore/QPointer>
#include <QtCore/QStringList>
#include <QtCore/QVariant>
#include <QtDBus/QDBusMessage>
#include <QtDBus/QDBusServiceWatcher>

#include <functional>
#include <vector>

/** A method of an object of a service. */
struct VXBusCall
{
    QString path;
    QString interface;
    QString method;
    QVariantList arguments = {};
    QString signature = QString(); // of the answer; another becomes an error. Null: any
};

/**
 * A service on a message bus, as all drivers of this code share it: tells when it appears and vanishes, hands its signals to
 * those who listen, and calls its methods. Listeners and answers are called on the main thread, which this belongs to, in the
 * order in which they came (VXBusInbox); nothing here waits. Calls and signals are those of the process that has the name now, never of the one before.
 */
class VXBusService : public QObject, public std::enable_shared_from_this<VXBusService>
{
    Q_OBJECT

public:
    using Ptr = std::shared_ptr<VXBusService>;
    /** Of a call: its reply, or an error (QDBusMessage::ErrorMessage). */
    using Answer = std::function<void(const QDBusMessage &answer)>;
    using Heard = std::function<void(const QDBusMessage &signal)>;

    /** `bus` as of VXBusLink. */
    static Ptr named(const QString &name, const QString &bus);

    const QString &name() const { return _name; }
    bool isThere() const { return !_owner.isNull(); }
    /** False until it is known whether it is there. */
    bool isKnown() const { return _isKnown; }
    /** Why it is not there, for the user; null while it is. */
    QString problem() const;
    /** Grows with each change of the process that has the name. */
    quint64 generation() const { return _generation; }

    /** Has the bus start it, where it knows how: then it appears, or didFailToStart tells. */
    void activate();
    /** What to do once that failed: `install`, unless it is installed and ends by itself. */
    QString remedyOfStart(const QString &install) const;

    /** Calls, and hands over the one answer, unless the context is gone by then. Nothing is started for it: without the
     *  service the answer is an error, as after `limit`. */
    void call(const VXBusCall &call, std::chrono::milliseconds limit, QObject *context, const Answer &answer);
    /** Calls what nobody waits for, as to take leave. */
    void send(const VXBusCall &call);

    /** Hands over signals for as long as the context lives: of one object, or of all with a null path; of one name, or all
     *  of the interface. They may be listened to before the service is there. @return a number for `stopListening`. */
    quint64 listen(const QString &path, const QString &interface, const QString &member, QObject *context,
                   const Heard &heard);
    void stopListening(quint64 number);

Q_SIGNALS:
    /** Listeners get its signals from here on: whoever reads its state now misses nothing. */
    void didAppear();
    void didVanish();
    /** It is known for the first time that it is not there, or the bus cannot be reached. */
    void didProveAbsent();
    void didFailToStart(const QString &problem);

private Q_SLOTS:
    void receive(const QDBusMessage &signal);

private:
    struct Listener
    {
        quint64 number;
        QString path;
        QString interface;
        QString member;
        QPointer<QObject> context;
        Heard heard;
    };

    VXBusService(const QString &name, const QString &bus);
    void dropListeners(); // whose context is gone
    void watch();
    void busDidClose();
    void ownerDidChange(const QString &owner);
    void setOwner(const QString &owner);
    void concludeLookUp(const QDBusMessage &answer);
    void concludeStart(const QDBusMessage &answer);
    void callBus(const QString &method, const QVariantList &arguments,
                 void (VXBusService::*then)(const QDBusMessage &));
    void route(const QDBusMessage &signal);
    bool connectRoute(const QString &interface, bool isOn);
    QDBusMessage message(const VXBusCall &call) const;

    const QString _name;
    const VXBusLink::Ptr _link;
    std::unique_ptr<QDBusServiceWatcher> _watcher; // while the link is open
    QString _owner;                                // its unique name; null while it is not there
    bool _isKnown = false;
    bool _isStarting = false;
    bool _isInstalled = false; // as the last failed start told
    quint64 _generation = 0;
    quint64 _lastNumber = 0;
    std::vector<Listener> _listeners;
    QStringList _routes; // interfaces whose signals come in while it is there
};
