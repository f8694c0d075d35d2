#pragma once

#include "VXBusDevice.h"
#include "VXMessageEnvelope.h"
#include "VXObexSession.h"

#include <QtCore/QSet>

/** What the service says about a message, without its text. */
struct VXListedMessage
{
    QString path;
    QVariantMap values;
};

/**
 * The messages of a phone, by message access. One session is opened when it is needed and then kept, so that the phone
 * can report new messages. Main thread.
 */
class VXMessageAccess : public QObject
{
    Q_OBJECT

public:
    /** Device and queue must outlive this object. */
    VXMessageAccess(VXBusDevice &device, VXBusQueue &queue, VXObexPeer peer);
    ~VXMessageAccess() override;

    bool isOpen() const { return !_session.isNull(); }
    /** Closes the session. */
    void close();

    // -- Work of actions, and of connecting; each opens a session if there is none
    void open(VXBusErrand &errand);
    void read(VXBusErrand &errand);
    void send(VXBusErrand &errand);
    /** Marks a message as read or unread. */
    void write(VXBusErrand &errand);
    void remove(VXBusErrand &errand);

Q_SIGNALS:
    /** The phone or the service ended the session. */
    void didLose();

private:
    struct Reading;
    struct Place
    {
        QString folder;
        QString handle;
    };
    using Then = std::function<void()>;

    void withSession(VXBusErrand &errand, const Then &then);
    void list(VXBusErrand &errand, const std::shared_ptr<Reading> &reading);
    void takeList(VXBusErrand &errand, const std::shared_ptr<Reading> &reading, const QList<VXListedMessage> &messages);
    void readNext(VXBusErrand &errand, const std::shared_ptr<Reading> &reading);
    void push(VXBusErrand &errand, const QString &number, const QString &text);
    void change(VXBusErrand &errand, const QString &property, bool value);
    void set(VXBusErrand &errand, const Place &place, const QString &property, bool value, bool mayList);
    void listFolder(VXBusErrand &errand, const QString &folder, const Then &then);
    void wasAdded(const QDBusMessage &signal);
    void wasRemoved(const QDBusMessage &signal);
    void announce(VXBusErrand &errand, const QString &path, const QVariantMap &listed);

    static Place placeOf(const QVariantMap &message);
    VXBusCall call(const QString &method, const QVariantList &arguments, const QString &signature) const;
    QString pathOf(const QString &handle) const;
    QVariantMap record(const QString &path, const QVariantMap &listed, const VXMessageEnvelope &envelope) const;

    VXBusDevice &_device;
    VXBusQueue &_queue;
    const VXObexPeer _peer;
    QString _session;    // null: none
    QSet<QString> _told; // handles of messages that were announced in this session
};
