#include "VXDeviceActionInfo.h"

#include "VXDeviceURL.h"
#include "VXPluginManager.h"
#include "VXPropertyList.h"

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

VXDeviceActionInfo infoIn(const VXPluginProxy &plugin, const QString &actionName)
{
    const VXBundle &bundle = *plugin.bundle();
    const QString path = bundle.pathForResource(u"actions"_s, u"plist"_s);
    if (path.isNull())
        return {};
    const QVariantMap action = VXPropertyList::fromFile(path).toMap().value(actionName).toMap();
    const QString meaning = action.value(u"meaning"_s).toString();
    const QString object = action.value(u"object"_s).toString();
    return {.object = object.isEmpty() ? QString() : bundle.localizedStringForKey(object),
            .meaning = meaning.isEmpty() ? QString() : bundle.localizedStringForKey(meaning)};
}

} // namespace

VXDeviceActionInfo VXInfoOfDeviceAction(const QString &actionName, const QUrl &deviceURL)
{
    const QString owner = VXDeviceURLComponent(deviceURL, 0);
    QList<VXPluginProxy *> plugins = VXPluginManager::sharedPluginManager().enabledPlugins();
    std::stable_partition(plugins.begin(), plugins.end(),
                          [&](const VXPluginProxy *plugin) { return plugin->identifier() == owner; });
    for (const VXPluginProxy *const plugin : std::as_const(plugins)) {
        if (const VXDeviceActionInfo info = infoIn(*plugin, actionName); !info.meaning.isNull())
            return info;
    }
    return {};
}
