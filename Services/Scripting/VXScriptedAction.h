#pragma once

#include "VXDeviceAction.h"

#include <QtCore/QList>
#include <QtCore/QObject>
#include <QtCore/QTimer>
#include <QtDBus/QDBusMessage>
#include <QtDBus/QDBusVariant>

class VXScriptingCalls;

/** A device action that a script has begun: an object of its own on the bus, until a minute after its end. */
class VXScriptedAction : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "com.halvern.VNX2.Action")

public:
    VXScriptedAction(VXScriptingCalls &calls, const VXDeviceAction::Ptr &action, const VXDevicePlugin::Ptr &device,
                     const QString &path, QObject *parent);
    ~VXScriptedAction() override;

    /** Runs it; its end may come at once. */
    void start();

public Q_SLOTS:
    /** Asks for an abort; the action ends with an error then. */
    Q_SCRIPTABLE void Cancel(const QDBusMessage &call);
    /** Answers when the action has ended: its result, an empty text for none, or an error. */
    Q_SCRIPTABLE void Wait(const QDBusMessage &call, QDBusVariant &result);
    /** "name", "device", "isExecuting", "title", "status", "value", "maximum", "error". */
    Q_SCRIPTABLE void Info(const QDBusMessage &call, QVariantMap &info);

Q_SIGNALS:
    Q_SCRIPTABLE void Progress(const QString &title, const QString &status, double value, double maximum);
    /** The error is empty when all went well, the result an empty text when there is none. */
    Q_SCRIPTABLE void Concluded(const QDBusVariant &result, const QString &error);

private:
    void tellProgress();
    void concluded();
    QString failure() const;
    QDBusVariant result() const;
    void answer(const QDBusMessage &call);

    VXScriptingCalls &_calls;
    const VXDeviceAction::Ptr _action;
    const VXDevicePlugin::Ptr _device;
    QList<QDBusMessage> _waiting;
    QTimer _progress; // many steps may come at once
    bool _hasConcluded = false;
};
