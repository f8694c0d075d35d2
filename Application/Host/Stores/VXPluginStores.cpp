#include "VXPluginStores.h"

#include "VXCoreDataStore.h"
#include "VXDataManager.h"
#include "VXNearestWord.h"
#include "VXPluginManager.h"

#include <QtCore/QFileInfo>

using namespace Qt::StringLiterals;

QStringList VXStoreNames()
{
    QStringList names;
    const QString key = u"VXDataStoreName"_s;
    for (const VXPluginProxy *const plugin : VXPluginManager::sharedPluginManager().pluginsWithInfoDictionaryKey(key))
        names.append(plugin->bundle()->infoDictionary().value(key).toString());
    names.sort();
    return names;
}

VXPersistentStoreCoordinator::Ptr VXStoreForName(const QString &name, QString *problem)
{
    const QStringList names = VXStoreNames();
    const QString folder = u"%1/%2.%3"_s.arg(VXDataManager::sharedDataFolderPath(), name, VXStoreFileExtension);
    if (!names.contains(name) && QFileInfo(folder).isDir()) {
        *problem =
            u"the data plugin of the store \"%1\" is not in use (\"vornix plugins list\"); the store itself lies in "
            "%2, and can be given by that path"_s.arg(name, folder);
        return nullptr;
    }
    if (!names.contains(name)) {
        *problem = names.isEmpty() ? u"there is no store \"%1\": no data plugin is enabled"_s.arg(name)
                                   : u"there is no store \"%1\"%2; there are: %3"_s.arg(name, VXDidYouMean(name, names),
                                                                                        names.join(", "_L1));
        return nullptr;
    }
    auto coordinator = VXDataManager::sharedDataManager().findCoordinatorForDataStore(name);
    if (!coordinator)
        *problem = VXStoreOutOfUse(name);
    return coordinator;
}

QString VXStoreOutOfUse(const QString &name)
{
    const VXPluginProxy *const plugin = VXDataManager::sharedDataManager().findPluginForDataStore(name);
    const QString reason = plugin == nullptr || plugin->isLoaded() ? QString() : plugin->loadError();
    return u"the store \"%1\" cannot be used; %2"_s.arg(
        name, reason.isEmpty() ? u"\"vornix log\" tells why"_s : u"its plugin is not loaded: "_s + reason);
}
