#pragma once

#include "VXBusDevice.h"

#include <QtCore/QSet>

/**
 * The messages on a modem: reads, sends and deletes them, and announces incoming ones; long ones once they are
 * complete. Main thread.
 */
class VXModemMessages : public QObject
{
    Q_OBJECT

public:
    /** Both must outlive this object. */
    VXModemMessages(VXBusDevice &device, VXBusQueue &queue);

    /** Sets which modem it is from now on; null means none. Messages that it has at that time are not new. */
    void setModem(const QString &path);

    // -- Work of actions
    void read(VXBusErrand &errand);
    void send(VXBusErrand &errand);
    void remove(VXBusErrand &errand);

private:
    struct Reading;

    void readNext(VXBusErrand &errand, const std::shared_ptr<Reading> &reading);
    void sendCreated(VXBusErrand &errand, const QString &path, bool isShort);
    void wasAdded(const QDBusMessage &signal);
    void didChange(const QDBusMessage &signal);
    void announce(const QString &path);
    QVariantMap record(const QString &path, const QVariantMap &properties) const;
    VXBusCall getAll(const QString &path) const;
    VXBusCall deletion(const QString &path) const;

    VXBusDevice &_device;
    VXBusQueue &_queue;
    QString _modem;
    QSet<QString> _incomplete; // paths of new messages of which parts are missing
    QSet<QString> _told;       // paths of messages that were announced
};
