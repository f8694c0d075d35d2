#pragma once

#include "VXMutex.h"
#include "VXScriptingDictionary.h"
#include "VXScriptingTransport.h"

#include <QtDBus/QDBusConnection>
#include <QtDBus/QDBusMessage>

#include <chrono>
#include <memory>

/**
 * Carries events over the session bus. A target's identifier is its bus name, and nothing is started to receive an event.
 * "getd" and "setd" of property specifiers read and write the properties, other events call the methods, that the target's
 * scripting dictionaries name. Has a connection of its own, and makes another when the bus went away. Any thread.
 */
class VXDBusTransport : public VXScriptingTransport
{
public:
    explicit VXDBusTransport(std::chrono::milliseconds defaultTimeOut);
    ~VXDBusTransport() override;

    qint32 sendMessage(const VXEventDescriptor &event, VXEventDescriptor *reply, qint32 sendMode,
                       qint32 timeOut) override;
    QString problem() override;
    qint64 pidForApplicationWithIdentifier(const QString &identifier) override;
    QStringList runningIdentifiers(const QString &prefix) override;

private:
    class Link;
    struct Errand;

    std::shared_ptr<const Link> link();
    QDBusMessage callBus(const QString &method, const QVariantList &arguments);
    qint32 call(const Errand &errand, QDBusMessage message);
    qint32 refuse(const Errand &errand, qint32 error, const QString &text);
    qint32 readProperty(const Errand &errand);
    qint32 writeProperty(const Errand &errand);
    qint32 callMethods(const Errand &errand);
    std::optional<VXScriptingProperty> specifiedProperty(const Errand &errand, QString *problem) const;

    const std::chrono::milliseconds _defaultTimeOut;
    VXMutex _lock;
    std::shared_ptr<const Link> _link VX_GUARDED_BY(_lock); // null before the first use
};
