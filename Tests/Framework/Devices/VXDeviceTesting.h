#pragma once

#include "VXDevicePlugin.h"
#include "VXDeviceURL.h"
#include "VXPluginManagerTesting.h"

/** A test with the plugin "org.phones" of DeviceFixture.so. */
class VXDeviceHomeTest : public VXPluginManagerHomeTest
{
protected:
    const VXPluginFixture phones{.identifier = QStringLiteral("org.phones"),
                                 .kind = QStringLiteral("VXDevicePlugin"),
                                 .info = {{QStringLiteral("NSPrincipalClass"), QStringLiteral("DeviceFixture")}},
                                 .code = QStringLiteral("DeviceFixture.so")};

    static QUrl phone(const QString &identifier)
    {
        return VXMakeDeviceURL({}, QStringLiteral("org.phones"), identifier);
    }
    static void setList(const QStringList &urls)
    {
        VXUserDefaults::standardUserDefaults().setObject(urls, QStringLiteral("devices21"));
    }

    /** Starts with that plugin, and others, and with those phones in the list. */
    void startWithPhones(const QStringList &identifiers, const QStringList &otherPlugins = {})
    {
        QStringList urls;
        for (const QString &identifier : identifiers)
            urls.append(VXAbsoluteString(phone(identifier)));
        setList(urls);
        phones.write(shared());
        startWith(QStringList{phones.identifier} + otherPlugins);
    }
};
