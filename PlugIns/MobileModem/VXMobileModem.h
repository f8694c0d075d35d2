#pragma once

#include "VXBusDevice.h"
#include "VXModemCalls.h"
#include "VXModemMessages.h"
#include "VXModemNames.h"

/**
 * A modem, or a phone that works as one, which is reached through ModemManager: messages, and calls if it has voice. It
 * is found automatically when it is plugged in, and switched on if it is found switched off; the plugin's README lists
 * the preferences, properties, actions and events. Main thread.
 */
class VXMobileModem : public VXBusDevice
{
    Q_OBJECT

public:
    Q_INVOKABLE VXMobileModem() = default;
    ~VXMobileModem() override;

    /** Finds the modems that ModemManager reaches. */
    void findDevices(const std::shared_ptr<VXDeviceFinding> &finding) override;
    bool initWithURL(const QUrl &theURL) override;
    void pluginWillUnload() override;

protected:
    void reach() override;

private:
    void listen();
    void offerActions(bool hasMessages, bool hasCalls);

    void find();
    void choose(const VXModemNames::Objects &objects);
    bool isWanted(const QString &path, const QVariantMap &modem) const;
    void adopt(const QString &path, const VXModemNames::Interfaces &interfaces);
    void lose(const VXError &why);
    void modemDidChange(const QDBusMessage &signal);

    VXFoundDevice found(const QString &path, const QVariantMap &modem) const;
    VXError faultOf(int modemState, int failedReason) const;
    void judge(int modemState, int failedReason, bool mayEnable);
    void enable();
    void showAll(const QVariantMap &modem);
    VXError withoutService() const;

    VXBusService::Ptr _service;
    std::unique_ptr<VXBusQueue> _finder; // for requests to the service itself, at any time
    std::unique_ptr<VXModemMessages> _messages;
    std::unique_ptr<VXModemCalls> _calls;
    VXBusQueue *_messageQueue = nullptr;
    VXBusQueue *_callQueue = nullptr;
    QString _modem; // its path; null if there is none
    QVariantMap _properties;
};
