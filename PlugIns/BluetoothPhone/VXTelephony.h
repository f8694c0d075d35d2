#pragma once

#include "VXBusDevice.h"
#include "VXPhoneCalls.h"

/**
 * Calls of a phone for which this computer is the hands-free set, by a telephony service with oFono's interface. The
 * phone's address, or a setting, says which modem of the service it is. Main thread.
 */
class VXTelephony : public QObject
{
    Q_OBJECT

public:
    struct Settings
    {
        QString service; // its name
        QString bus;     // as in VXBusLink
        QString path;    // of the modem; null: the one with the phone's address
        QString address;
    };

    /** The device must outlive this object. */
    VXTelephony(VXBusDevice &device, const Settings &settings);

    /** Whether calls are available now. */
    bool isReady() const { return _isReady; }
    /** Ends what is in progress, for good. */
    void stop();

    /** Has one of the following done. While calls are not available, it waits a few seconds for them. */
    void enqueue(const VXDeviceAction::Ptr &action, void (VXTelephony::*work)(VXBusErrand &));
    void dial(VXBusErrand &errand);
    void answer(VXBusErrand &errand);
    void hangUp(VXBusErrand &errand);

Q_SIGNALS:
    /** `isReady` has changed. */
    void didChange();

private:
    void look();
    void takeModems(const QVariant &answer);
    void takeModem(const QString &path, const QVariantMap &properties);
    void didChangeModem(const QString &property, const QVariant &value);
    void setInterfaces(const QStringList &interfaces);
    void setReady(bool flag);
    void takeCalls(const QVariant &answer);
    void takeCall(const QString &path, const QVariantMap &properties);
    void didChangeCall(const QString &path, const QString &property, const QVariant &value);
    void forget();
    VXError absence() const;
    bool isOurs(const QString &path, const QVariantMap &properties) const;
    void perform(VXBusErrand &errand, const QString &what, const VXBusCall &call);

    VXBusDevice &_device;
    const Settings _settings;
    const VXBusService::Ptr _service;
    VXBusQueue _queue;
    QTimer _patience; // runs while something waits for calls
    VXPhoneCalls _calls;
    QString _modem; // null: not found
    bool _isReady = false;
};
