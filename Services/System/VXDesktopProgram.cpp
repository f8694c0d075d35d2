#include "VXDesktopProgram.h"

#include <QtCore/QStringList>
#include <QtCore/QVariantMap>
#include <QtDBus/QDBusConnection>
#include <QtDBus/QDBusConnectionInterface>
#include <QtDBus/QDBusMessage>
#include <QtDBus/QDBusReply>

using namespace Qt::StringLiterals;

QString VXDesktopProgram::busName()
{
    return u"com.halvern.VNX2.Desktop"_s;
}

QString VXDesktopProgram::objectPath()
{
    return u"/com/halvern/VNX2/Desktop"_s;
}

bool VXDesktopProgram::open(const QString &url)
{
    const QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected() || !(bus.interface()->isServiceRegistered(busName()) ||
                                bus.interface()->activatableServiceNames().value().contains(busName())))
        return false;
    QDBusMessage call = QDBusMessage::createMethodCall(busName(), objectPath(), u"org.freedesktop.Application"_s,
                                                       url.isNull() ? u"Activate"_s : u"Open"_s);
    if (!url.isNull())
        call << QStringList{url};
    call << QVariantMap();
    return bus.send(call);
}
