#pragma once

#include "VXBusDevice.h"
#include "VXConnectContacts.h"
#include "VXConnectMessages.h"
#include "VXPhoneCalls.h"

#include <chrono>

/**
 * An Android phone that KDE Connect's daemon reaches over the network. It offers contacts, messages with their whole
 * history, incoming calls, and dialling on the phone. The plugin's README lists the preferences, properties, actions
 * and events, and what must be allowed on the phone. Main thread.
 */
class VXAndroidPhone : public VXBusDevice
{
    Q_OBJECT

public:
    Q_INVOKABLE VXAndroidPhone();
    ~VXAndroidPhone() override;

    /** The phones that KDE Connect knows, paired or not. */
    void findDevices(const std::shared_ptr<VXDeviceFinding> &finding) override;
    bool initWithURL(const QUrl &theURL) override;
    void pluginWillUnload() override;

protected:
    void reach() override;

private:
    static constexpr std::chrono::seconds answerLimit{15}; // of the daemon

    void listen();
    void offerActions(const QStringList &plugins);

    // -- Which phone, and how it stands
    void find();
    void lookForPhone(VXBusErrand &errand);
    void lookAtPhone(VXBusErrand &errand);
    void lookAtPlugins(VXBusErrand &errand);
    QString choose(const QMap<QString, QString> &phones, VXError *error) const;
    void addNext(VXBusErrand &errand, const VXDeviceFinding::Ptr &finding, QMap<QString, QString> phones) const;
    VXError problemOf(const QDBusMessage &properties) const;
    void setPhone(const QString &deviceID);
    void lose(const VXError &why);
    VXError withoutService() const;

    // -- Work of actions
    void pair(VXBusErrand &errand);
    void requestPair(VXBusErrand &errand);
    void unpair(VXBusErrand &errand);
    void readContacts(VXBusErrand &errand);
    struct ContactReading;
    void beginContacts(VXBusErrand &errand, const std::shared_ptr<ContactReading> &reading,
                       std::chrono::milliseconds limit, const std::function<void()> &didArrive = {});
    void fetchContacts(VXBusErrand &errand, const std::shared_ptr<ContactReading> &reading);
    void readPortion(VXBusErrand &errand, const std::shared_ptr<ContactReading> &reading);
    void didReadPortion(VXBusErrand &errand, const std::shared_ptr<ContactReading> &reading,
                        const VXConnectContacts::Cards &cards);
    static void finishContacts(VXBusErrand &errand, const ContactReading &reading);
    void dial(VXBusErrand &errand);

    void callWasReceived(const QString &event, const QString &number);
    void readBattery();

    VXBusService::Ptr _service;
    std::unique_ptr<VXBusQueue> _finder; // for requests to the daemon itself, at any time
    VXBusQueue *_messageQueue = nullptr;
    VXBusQueue *_contactQueue = nullptr;
    VXBusQueue *_dialQueue = nullptr;
    std::unique_ptr<VXConnectMessages> _messages;
    VXPhoneCalls _calls; // by number
    QString _phone;      // the daemon's identifier of the phone; null while none is known
    QStringList _plugins;
    bool _isToBeFoundAgain = false;
};
