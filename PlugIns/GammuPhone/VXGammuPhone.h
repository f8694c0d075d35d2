#pragma once

#include "VXDevicePlugin.h"
#include "VXGammuDriver.h"

#include <QtCore/QTimer>

#include <chrono>
#include <memory>

/**
 * A phone that is reached through libgammu, in a process of its own. It connects by itself, and again when it comes
 * back; the plugin's README lists the preferences, properties, actions and events. Main thread.
 */
class VXGammuPhone : public VXDevicePlugin
{
    Q_OBJECT
    Q_PROPERTY(bool isConnected READ isConnected NOTIFY connectionDidChange)
    Q_PROPERTY(bool isConnecting READ isConnecting NOTIFY connectionDidChange)

public:
    Q_INVOKABLE VXGammuPhone();
    /** Uses another program instead of the one in the plugin's bundle. */
    explicit VXGammuPhone(const QString &program);
    ~VXGammuPhone() override;

    /** Finds the serial ports that may have a phone. */
    void findDevices(const std::shared_ptr<VXDeviceFinding> &finding) override;
    bool initWithURL(const QUrl &theURL) override;
    void pluginWillUnload() override;

    /** Its preference "name", else its identifier: the plugin's name would be the same for all phones. */
    QString name() const override;
    /** The first of the card's own numbers. */
    QString phoneNumber() const override;
    Q_INVOKABLE bool isConnected() const;
    /** True while it is connecting without a request, until its identity has been read. Changes are announced. */
    Q_INVOKABLE bool isConnecting() const { return _isConnecting; }

Q_SIGNALS:
    void connectionDidChange();

private:
    void registerActionHandlers();
    QVariantMap configuration() const;
    QString program() const;

    void keepUp();
    void connectAgainLater();
    void setConnecting(bool flag);
    void setProperties(const QVariantMap &values);
    void didClose(const VXError &reason);
    void didFailToOpen(const VXError &error);
    QString remedy() const; // against what keeps it from being reached
    void complete(QVariantMap &record) const;
    void announce(const QString &name, const QString &subtype, const QVariantMap &object);

    const QString _program;
    QTimer _upkeep; // requests battery and signal, or connects again
    std::chrono::seconds _delay;
    QString _lastFailure;
    bool _isConnecting = false;
    std::unique_ptr<VXGammuDriver> _driver;
};
