#pragma once

#include "VXBusDevice.h"
#include "VXModemCalls.h"
#include "VXModemMessages.h"
#include "VXModemNames.h"

/**
 * A modem, or a phone that is one, which ModemManager reaches: messages, and calls where it has voice. It is found by itself when
 * it is plugged in, and switched on when it is found switched off; the plugin's README lists preferences, properties, actions
 * and events. Main thread.
 */
class VXMobileModem : public VXBusDevice
{
    Q_OBJECT

public:
    Q_INVOKABLE VXMobileModem() = default;
    ~VXMobileModem() override;

    /** The modems that ModemManager reaches. */
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
    std::unique_ptr<VXBusQueue> _finder; // what is asked of the service itself, at any time
    std::unique_ptr<VXModemMessages> _messages;
    std::unique_ptr<VXModemCalls> _calls;
    VXBusQueue *_messageQueue = nullptr;
    VXBusQueue *_callQueue = nullptr;
    QString _modem; // its path; null while there is none
    QVariantMap _properties;
    bool _hasMessages = false; // that are offered
    bool _hasCalls = false;
};
