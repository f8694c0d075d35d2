#pragma once

#include "VXPluginFixtures.h"

/** A plugin of devices, whose code is DeviceFixture.so. */
inline VXPluginFixture hostDeviceFixture(const QString &identifier, const QVariantMap &info = {})
{
    VXPluginFixture fixture{.identifier = identifier,
                            .kind = QStringLiteral("VXDevicePlugin"),
                            .info = {{QStringLiteral("NSPrincipalClass"), QStringLiteral("DeviceFixture")}},
                            .code = QStringLiteral("DeviceFixture.so")};
    fixture.info.insert(info);
    return fixture;
}
