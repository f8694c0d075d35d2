#pragma once

#include "VXTesting.h"
#include "VXTestProcess.h"

#include <QtDBus/QDBusConnection>
#include <QtDBus/QDBusConnectionInterface>
#include <QtDBus/QDBusMessage>

#include <optional>

using namespace Qt::StringLiterals;

/** A test with a desktop's portal, which a script plays on a bus of the test's own. */
class VXPortalTest : public VXHomeTest
{
protected:
    std::optional<VXTestBus> bus;
    std::optional<VXTestProcess> portal;

    void SetUp() override
    {
        bus.emplace(path(u"bus"_s));
        ASSERT_FALSE(bus->address().isEmpty()) << "the package dbus is missing";
        qputenv("DBUS_SESSION_BUS_ADDRESS", bus->address());
    }
    void startPortal(const QString &script)
    {
        portal.emplace(u"/usr/bin/python3 -m dbusmock --session --template '%1'"_s.arg(script));
        ASSERT_TRUE(VXRunUntil([] {
            return QDBusConnection::sessionBus().interface()->isServiceRegistered(portalName).value();
        })) << "the package python3-dbusmock is missing";
    }
    /** A method of the script. */
    static QDBusMessage play(const QString &method, const QVariantList &arguments = {})
    {
        QDBusMessage call = QDBusMessage::createMethodCall(portalName, u"/org/freedesktop/portal/desktop"_s,
                                                           u"org.freedesktop.DBus.Mock"_s, method);
        call.setArguments(arguments);
        return QDBusConnection::sessionBus().call(call);
    }

private:
    static inline const QString portalName = u"org.freedesktop.portal.Desktop"_s;
};
