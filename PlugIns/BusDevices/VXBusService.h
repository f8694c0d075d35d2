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
    QString signature = QString(); // of the answer; a different one becomes an error. Null: any
};

/**
 * A service on a message bus, shared by all drivers of this code. It reports when it appears and vanishes, passes its
 * signals on to listeners, and calls its methods. Listeners and answers are called on the main thread, to which this
 * object belongs, in order of arrival (VXBusInbox); nothing here waits. Calls and signals are always those of the
 * process that has the name now, never of a previous one.
 */
class VXBusService : public QObject, public std::enable_shared_from_this<VXBusService>
{
    Q_OBJECT

public:
    using Ptr = std::shared_ptr<VXBusService>;
    /** Receives a call's reply, or an error (QDBusMessage::ErrorMessage). */
    using Answer = std::function<void(const QDBusMessage &answer)>;
    using Heard = std::function<void(const QDBusMessage &signal)>;

    /** `bus` is as in VXBusLink. */
    static Ptr named(const QString &name, const QString &bus);

    const QString &name() const { return _name; }
    bool isThere() const { return !_owner.isNull(); }
    /** False until it is known whether the service is there. */
    bool isKnown() const { return _isKnown; }
    /** Why it is not there, for the user; null while it is there. */
    QString problem() const;
    /** Grows each time another process takes the name. */
    quint64 generation() const { return _generation; }

    /** Has the bus start the service, if it knows how. Then the service appears, or didFailToStart is emitted. */
    void activate();
    /** What to do after that failed: `install`, unless the service is installed but ends by itself. */
    QString remedyOfStart(const QString &install) const;

    /** Makes a call, and passes on the one answer, unless the context is gone by then. The service is not started for
     *  it: if it is missing, the answer is an error, as it is after `limit`. */
    void call(const VXBusCall &call, std::chrono::milliseconds limit, QObject *context, const Answer &answer);
    /** Sends a call for whose answer nobody waits, for example to say goodbye. */
    void send(const VXBusCall &call);

    /** Passes on signals as long as the context lives: of one object, or of all with a null path; with one name, or all
     *  of the interface. It is possible to listen before the service is there. @return a number for `stopListening`. */
    quint64 listen(const QString &path, const QString &interface, const QString &member, QObject *context,
                   const Heard &heard);
    void stopListening(quint64 number);

Q_SIGNALS:
    /** From here on, listeners get the service's signals: whoever reads its state now misses nothing. */
    void didAppear();
    void didVanish();
    /** It is now known, for the first time, that the service is not there or that the bus cannot be reached. */
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
    void dropListeners(); // drops those whose context is gone
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
    bool _isInstalled = false; // according to the last failed start
    quint64 _generation = 0;
    quint64 _lastNumber = 0;
    std::vector<Listener> _listeners;
    QStringList _routes; // interfaces whose signals are received while it is there
};
