#include "VXDataManager.h"

#include "VXDataPlugin.h"
#include "VXDiagnostics.h"
#include "VXException.h"
#include "VXFileManager.h"
#include "VXFramework.h"
#include "VXMainThread.h"
#include "VXMethodLog.h"
#include "VXPluginManager.h"

using namespace Qt::StringLiterals;

using CoordinatorPtr = VXPersistentStoreCoordinator::Ptr;

const QString VXDataStoreDidSaveNotification = u"VXDataStoreDidSaveNotification"_s;
const QString VXEventNameKey = u"VXEventName"_s;
const QString VXEntityStoreKey = u"VXEntityStore"_s;
const QString VXEntityNameKey = u"VXEntityName"_s;

VXDataManager::VXDataManager() = default;

VXDataManager::~VXDataManager() = default;

VXDataManager &VXDataManager::sharedDataManager()
{
    static auto &manager = *new VXDataManager;
    return manager;
}

// -- Where data lies

QString VXDataManager::sharedDataFolderPath()
{
    return VXFileManager::defaultManager().pathToUserVNXApplicationSupportFolder() + "/Data"_L1;
}

QString VXDataManager::sharedDataInstallPath()
{
    return VXFileManager::defaultManager().pathToUserVNXApplicationSupportFolder() + "/Data (Install)"_L1;
}

QString VXDataManager::smartFilterDataModelPath()
{
    return VXFrameworkBundle()->pathForResource(u"smart-filters"_s, u"mom"_s);
}

// To be raised with each change of smart-filters.vxmodel.
QString VXDataManager::smartFilterModelVersion()
{
    return u"1"_s;
}

// -- Stores by name

namespace {

QList<VXPluginProxy *> pluginsWithStore(const QString &storeName)
{
    return VXPluginManager::sharedPluginManager().pluginsWithInfoDictionaryKey(u"VXDataStoreName"_s, storeName);
}

} // namespace

VXPluginProxy *VXDataManager::findPluginForDataStore(const QString &storeName) const
{
    const QList<VXPluginProxy *> plugins = pluginsWithStore(storeName);
    return plugins.size() == 1 ? plugins.constFirst() : nullptr;
}

VXPluginProxy *VXDataManager::pluginForDataStore(const QString &storeName) const
{
    const QList<VXPluginProxy *> plugins = pluginsWithStore(storeName);
    VXAssert(!plugins.isEmpty(), "Missing plugin for store: "_L1 + VXDescription(storeName));
    if (plugins.size() > 1) {
        QStringList names;
        for (const VXPluginProxy *const plugin : plugins)
            names.append(VXDescription(plugin->identifier()));
        VXFailAssertion(
            u"%1 plugins with identical data store names: %2"_s.arg(plugins.size()).arg(names.join(", "_L1)));
    }
    return plugins.constLast();
}

CoordinatorPtr VXDataManager::openCoordinatorForDataStore(const QString &storeName) const
{
    const VXMutexLocker locker(_lock);
    const CoordinatorPtr shared = _sharedStoreCoordinators.value(storeName);
    return shared ? shared : _openStoreCoordinators.value(storeName).lock();
}

void VXDataManager::dataPluginDidOpenStore(const QString &storeName, const CoordinatorPtr &coordinator)
{
    const VXMutexLocker locker(_lock);
    _openStoreCoordinators.insert(storeName, coordinator);
}

CoordinatorPtr VXDataManager::sharedCoordinatorForDataStore(const QString &storeName, VXError *error)
{
    {
        const VXMutexLocker locker(_lock);
        if (const CoordinatorPtr shared = _sharedStoreCoordinators.value(storeName))
            return shared;
    }
    CoordinatorPtr found;
    const bool wasAsked = VXMainThread::performAndWait([&] { found = findCoordinator(storeName, error); });
    return wasAsked ? found : nullptr;
}

CoordinatorPtr VXDataManager::findCoordinatorForDataStore(const QString &storeName, QString *problem)
{
    if (findPluginForDataStore(storeName) == nullptr)
        return nullptr;
    const CoordinatorPtr coordinator = sharedCoordinatorForDataStore(storeName);
    if (!coordinator && problem != nullptr)
        *problem = VXLocalizedString(u"The store \"%1\" cannot be used; the log tells why."_s).arg(storeName);
    return coordinator;
}

// On the main thread, which plugins belong to.
CoordinatorPtr VXDataManager::findCoordinator(const QString &storeName, VXError *error)
{
    constexpr const char *operation = "sharedCoordinatorForDataStore:";
    const VXPluginProxy *const plugin = pluginForDataStore(storeName);
    if (!plugin->isEnabled()) {
        VXLogMethod(VXLogError, operation, "plugin is missing or disabled for store: "_L1 + storeName);
        return nullptr;
    }
    if (!plugin->isLoaded()) {
        VXLogMethod(VXLogError, operation, "plugin is not loaded for store: "_L1 + storeName);
        return nullptr;
    }
    const CoordinatorPtr coordinator =
        plugin->as<VXDataPlugin>("persistentStoreCoordinator").persistentStoreCoordinator(error);
    if (!coordinator) {
        VXLogMethod(VXLogError, operation,
                    u"plugin %1 did not return store %2"_s.arg(VXDescription(plugin->identifier()), storeName));
        return nullptr;
    }
    const VXMutexLocker locker(_lock);
    _sharedStoreCoordinators.insert(storeName, coordinator);
    return coordinator;
}
