#pragma once

#include "VXDevicePlugin.h"
#include "VXGammuCalls.h"
#include "VXGammuProperties.h"
#include "VXGammuWorker.h"

#include <QtCore/QPointer>
#include <QtCore/QTimer>

#include <memory>

/**
 * A phone that is reached through libgammu. It connects by itself, and again when it comes back; the plugin's README
 * lists its preferences, properties, actions and events. Main thread; the phone itself is used by a worker only.
 */
class VXGammuPhone : public VXDevicePlugin
{
    Q_OBJECT

public:
    Q_INVOKABLE VXGammuPhone();
    ~VXGammuPhone() override;

    bool initWithURL(const QUrl &theURL) override;
    void pluginWillUnload() override;

    /** What its preference "name" says, else its identifier: the plugin's name would be that of all phones. */
    QString name() const override;
    /** The first of the card's own numbers. */
    QString phoneNumber() const override;
    Q_INVOKABLE bool isConnected() const;
    /** True while it is connected without being asked for anything, until what it is has been read. Announced. */
    Q_INVOKABLE bool isConnecting() const { return _isConnecting; }

private:
    void registerActionHandlers();
    void registerWork(const QString &actionName, VXError (*work)(VXGammuSession &, VXDeviceAction &));
    void registerWork(const QString &actionName, VXError (VXGammuCalls::*work)(VXGammuSession &, VXDeviceAction &));
    void enqueue(VXDeviceAction *action, VXGammuWorker::Work work);
    VXGammuWorker::Listener makeListener();

    void watch();
    void keepUp();
    void setConnecting(bool flag);
    void setProperties(const VXGammuProperties &properties);
    void didClose();
    void didFailToOpen(const VXError &error);
    void announce(const QString &name, const QString &subtype, const QVariantMap &object);

    QTimer _watch;  // while the phone is busy
    QTimer _upkeep; // connects again, and asks for battery and signal
    QString _lastFailure;
    bool _isConnecting = false;
    bool _mayConnect = true;                // false: only once somebody asks for something
    std::unique_ptr<VXGammuCalls> _calls;   // the worker's
    std::unique_ptr<VXGammuWorker> _worker; // last: it uses the rest
};
