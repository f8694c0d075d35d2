#include "VXDevicePlugin.h"

#include "VXDeviceRegistry.h"

using namespace Qt::StringLiterals;

const VXNotificationName VXDevicePluginDidAddDeviceNotification(u"VXDevicePluginDidAddDeviceNotification"_s);
const VXNotificationName VXDevicePluginWillRemoveDeviceNotification(u"VXDevicePluginWillRemoveDeviceNotification"_s);
const VXNotificationName VXDevicePluginDidRemoveDeviceNotification(u"VXDevicePluginDidRemoveDeviceNotification"_s);

std::optional<QList<QUrl>> VXDevicePlugin::deviceURLs()
{
    return VXDeviceRegistry::shared().urls();
}

VXDevicePlugin::Ptr VXDevicePlugin::deviceAtURL(const QUrl &url)
{
    return VXDeviceRegistry::shared().device(url);
}

QList<VXDevicePlugin::Ptr> VXDevicePlugin::liveDevices()
{
    return VXDeviceRegistry::shared().liveDevices();
}

bool VXDevicePlugin::isKeptAfterUnload() const
{
    return VXDeviceRegistry::shared().isLive(*this);
}

void VXDevicePlugin::addDevice(const Ptr &device)
{
    VXDeviceRegistry::shared().add(device);
}

bool VXDevicePlugin::removeDeviceAtURL(const QUrl &url)
{
    VXDeviceRegistry::shared().remove(url);
    return true;
}

void VXDevicePlugin::resetPreferencesForDeviceURL(const QUrl &url)
{
    VXDeviceRegistry::resetPreferences(url);
}

VXDevicePlugin::Ptr VXDevicePlugin::defaultDevice()
{
    return VXDeviceRegistry::shared().defaultDevice();
}

VXDevicePlugin::Ptr VXDevicePlugin::defaultDeviceForKey(const QString &key)
{
    return VXDeviceRegistry::shared().defaultDevice(key);
}

void VXDevicePlugin::setDefaultDeviceURL(const QUrl &url, const QString &key)
{
    VXDeviceRegistry::setDefaultURL(url, key);
}
