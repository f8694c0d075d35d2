#pragma once

#include "VXBluetoothWatch.h"
#include "VXBusDevice.h"
#include "VXMessageAccess.h"
#include "VXPhonebookAccess.h"
#include "VXTelephony.h"

#include <memory>

/**
 * A phone paired by Bluetooth: contacts and lists of calls, messages, and calls, as far as the phone offers them and
 * its user allows it. The plugin's README lists the preferences, properties, actions and events. Main thread.
 */
class VXBluetoothPhone : public VXBusDevice
{
    Q_OBJECT

public:
    Q_INVOKABLE VXBluetoothPhone();
    ~VXBluetoothPhone() override;

    /** The paired phones. */
    void findDevices(const std::shared_ptr<VXDeviceFinding> &finding) override;
    bool initWithURL(const QUrl &theURL) override;
    void pluginWillUnload() override;

protected:
    void reach() override;

private:
    bool hasProfile(const QString &profile) const;
    void makeTelephony();
    void offerActions();
    void tellFound(VXDeviceFinding &finding) const;

    void startAnew();
    void bluetoothDidChange();
    void begin();
    void tryPhone();
    void tryContacts(const VXError &messagesProblem);
    VXBusErrand::Conclusion ofThisAttempt(const std::function<void(const VXError &error)> &then);
    void didReach(const VXError &messagesProblem);
    void didFail(const VXError &why);
    void lose();

    std::unique_ptr<VXBluetoothWatch> _watch;
    VXBusService::Ptr _obex;
    std::unique_ptr<VXBusQueue> _connecting; // always open
    VXBusQueue *_contactsQueue = nullptr;
    VXBusQueue *_messagesQueue = nullptr;
    std::unique_ptr<VXPhonebookAccess> _phonebook;
    std::unique_ptr<VXMessageAccess> _messages;
    std::unique_ptr<VXTelephony> _telephony;
    QTimer _again;
    std::chrono::seconds _delay;
    bool _wasLinked = false; // by any profile, as BlueZ reports it
    bool _isTrying = false;
    quint64 _attempt = 0; // counts the attempts: the outcome of an earlier one is dropped
};
