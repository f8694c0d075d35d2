#include "VXStorePlugin.h"

#include "VXBundle.h"
#include "VXMethodLog.h"
#include "VXNotificationCenter.h"

#include <algorithm>

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

void VXStorePlugin::launchSearch(const QString &modificationDateKey, const VXMetaDataInputs &inputs)
{
    const VXPersistentStoreCoordinator::Ptr coordinator = persistentStoreCoordinator();
    if (coordinator)
        checkClasses(coordinator->model());
    _search = VXMetaDataSync::launchMetaDataSyncWithIdentifier(identifier(), coordinator, _entityName,
                                                               modificationDateKey, inputs);
}

// A class that no entity names is not the class of any object, and nothing else would report that. The model is the
// store's, which may be a different one.
void VXStorePlugin::checkClasses(const VXManagedObjectModel &model) const
{
    for (const QString &name : _classes) {
        const bool isGiven = std::ranges::any_of(
            model.entities(), [&](const VXEntityDescription *each) { return each->managedObjectClassName() == name; });
        if (!isGiven)
            VXLogMethod(VXLogError, "launchSearch", "no entity of the store's model gives the class "_L1 + name);
    }
}

void VXStorePlugin::pluginWillUnload()
{
    if (_search)
        _search->terminate();
    VXNotificationCenter::defaultCenter().removeObserver(this);
    for (const QString &entityName : std::as_const(_classes))
        VXManagedObjectClass::removeClass(entityName);
}
