#include "VXStorePlugin.h"

#include "VXBundle.h"
#include "VXNotificationCenter.h"

using namespace Qt::StringLiterals;

VXStorePlugin::VXStorePlugin(const QString &entityName, const QString &one, const QString &many)
    : _entityName(entityName), _one(one), _many(many)
{
}

QString VXStorePlugin::importDescriptionFromStore(VXCoreDataStore &store)
{
    const qsizetype count = countInStore(store, _entityName);
    if (count == 0)
        return {};
    return bundle()->localizedStringForKey(count == 1 ? _one : _many).replace("%1"_L1, QString::number(count));
}

void VXStorePlugin::launchSearch(const QString &modificationDateKey)
{
    _search = VXMetaDataSync::launchMetaDataSyncWithIdentifier(identifier(), persistentStoreCoordinator(), _entityName,
                                                               modificationDateKey);
}

void VXStorePlugin::pluginWillUnload()
{
    if (_search)
        _search->terminate();
    VXNotificationCenter::defaultCenter().removeObserver(this);
    for (const QString &entityName : std::as_const(_classes))
        VXManagedObjectClass::removeClass(entityName);
}
