#pragma once

#include "VXBusDevice.h"
#include "VXPhoneCalls.h"

#include <QtCore/QSet>
#include <QtDBus/QDBusObjectPath>

/** The calls of a modem that has voice: announces them, dials, answers and ends them. Main thread. */
class VXModemCalls : public QObject
{
    Q_OBJECT

public:
    /** Both must outlive this object. */
    VXModemCalls(VXBusDevice &device, VXBusQueue &queue);

    /** Sets which modem it is from now on; null means none: then its calls have ended. */
    void setModem(const QString &path);
    /** Reads the calls that are already in progress. */
    void readAll();

    // -- Work of actions
    void dial(VXBusErrand &errand);
    void answer(VXBusErrand &errand);
    void hangUp(VXBusErrand &errand);

private:
    void begin(const QString &path);
    void take(const QString &path, const QDBusMessage &properties);
    void withCalls(VXBusErrand &errand, const QString &what, const std::function<void()> &then);
    void takeNext(VXBusErrand &errand, QList<QDBusObjectPath> paths, const std::function<void()> &then);
    VXBusCall listing() const;
    void take(const QString &path, bool isIncoming, const QString &number, int state);
    void stateDidChange(const QString &path, int state);
    void forget(const QString &path);
    void hangUpNext(VXBusErrand &errand, QStringList paths);
    VXBusCall method(const QString &path, const QString &name) const;

    VXBusDevice &_device;
    VXBusQueue &_queue;
    VXPhoneCalls _calls; // by path
    QString _modem;
    QSet<QString> _own; // paths of the calls dialled here, which nobody else removes
};
