#include "VXScriptApplication.h"

#include "VXDeviceRegistry.h"
#include "VXFramework.h"
#include "VXPluginManager.h"

using namespace Qt::StringLiterals;

namespace {

const QString pluginsKey = u"as_plugins"_s;

} // namespace

VXScriptApplication &VXScriptApplication::shared()
{
    static auto *const application = new VXScriptApplication;
    return *application;
}

QVariant VXScriptApplication::valueForKey(const QString &key) const
{
    QVariantList elements;
    if (key == "devices"_L1) {
        for (const VXDevicePlugin::Ptr &device : VXDeviceRegistry::shared().liveDevices())
            elements.append(QVariant::fromValue<QObject *>(device.get()));
        return elements;
    }
    if (key == pluginsKey) {
        for (VXPluginProxy *const plugin : VXPluginManager::sharedPluginManager().as_plugins())
            elements.append(QVariant::fromValue<QObject *>(plugin));
        return elements;
    }
    if (key == "name"_L1)
        return VXBundle::mainBundle()->objectForInfoDictionaryKey(u"CFBundleName"_s);
    return key == "version"_L1 ? QVariant(VXFrameworkVersion()) : QVariant();
}

QString VXScriptApplication::scriptClassName() const
{
    return u"VXScriptApplication"_s;
}

QVariant VXScriptApplication::value() const
{
    return QVariant::fromValue<VXKeyValueCoding *>(const_cast<VXScriptApplication *>(this));
}

VXObjectSpecifier VXScriptApplication::specifierForPlugin(const VXPlugin &plugin) const
{
    return VXObjectSpecifier::withIdentifier(objectSpecifier(), scriptClassName(), pluginsKey, plugin.identifier());
}
