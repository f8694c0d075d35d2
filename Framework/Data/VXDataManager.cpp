#include "VXDataManager.h"

#include "VXApplication.h"
#include "VXDataPlugin.h"
#include "VXDiagnostics.h"
#include "VXErrorDomain.h"
#include "VXException.h"
#include "VXExporterPlugin.h"
#include "VXExportSheetController.h"
#include "VXFileManager.h"
#include "VXFramework.h"
#include "VXInvocation.h"
#include "VXMainThread.h"
#include "VXMethodLog.h"
#include "VXPluginGuard.h"
#include "VXPluginManager.h"

#include <QtCore/QPointer>

#include <utility>

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

// -- Stores by name

VXPluginProxy *VXDataManager::pluginForDataStore(const QString &storeName) const
{
    const QList<VXPluginProxy *> plugins =
        VXPluginManager::sharedPluginManager().pluginsWithInfoDictionaryKey(u"VXDataStoreName"_s, storeName);
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

CoordinatorPtr VXDataManager::heldCoordinator(const QString &storeName) const
{
    const VXMutexLocker locker(_lock);
    return _sharedStoreCoordinators.value(storeName);
}

CoordinatorPtr VXDataManager::sharedCoordinatorForDataStore(const QString &storeName)
{
    if (const CoordinatorPtr held = heldCoordinator(storeName))
        return held;
    CoordinatorPtr found;
    const bool wasAsked = VXMainThread::performAndWait([&] { found = findCoordinator(storeName); });
    return wasAsked ? found : nullptr;
}

// On the main thread, where plugins are.
CoordinatorPtr VXDataManager::findCoordinator(const QString &storeName)
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
        plugin->as<VXDataPlugin>("persistentStoreCoordinator").persistentStoreCoordinator();
    if (!coordinator) {
        VXLogMethod(VXLogError, operation,
                    u"plugin %1 did not return store %2"_s.arg(VXDescription(plugin->identifier()), storeName));
        return nullptr;
    }
    const VXMutexLocker locker(_lock);
    _sharedStoreCoordinators.insert(storeName, coordinator);
    return coordinator;
}

// -- The export sheet

struct VXDataManager::ExportSheet
{
    std::unique_ptr<VXExportSheetController> controller;
    QPointer<QObject> window;
    QPointer<QObject> delegate;
    QByteArray selector;
    QVariant userInfo;

    void tellDelegate(int returnCode) const
    {
        VXInvocation::withMethod(delegate, selector, {QVariant::fromValue(window.data()), returnCode, userInfo})
            .invoke();
    }
};

void VXDataManager::setExportSheetPresenter(ExportSheetPresenter presenter)
{
    _exportSheetPresenter = std::move(presenter);
}

void VXDataManager::exportObjects(const QVariantList &objects, const QString &descriptiveClassName, QObject *window,
                                  QObject *delegate, const QByteArray &selector, const QVariant &userInfo)
{
    VXAssert(delegate == nullptr || VXInvocation::respondsTo(delegate, selector, 3),
             u"The delegate of an export does not respond to %1"_s.arg(QString::fromUtf8(selector)));
    const auto sheet = std::make_shared<ExportSheet>(ExportSheet{nullptr, window, delegate, selector, userInfo});
    if (_exportSheetPresenter)
        sheet->controller = _exportSheetPresenter(objects, descriptiveClassName, window);
    if (!sheet->controller) {
        VXLogMethod(VXLogWarning, "exportObjects:descriptiveClassName:fromWindow:delegate:selector:userInfo:",
                    u"there is nobody to show an export sheet"_s);
        sheet->tellDelegate(VXExportSheetController::Cancelled);
        return;
    }
    const auto end = [this, sheet](int returnCode) {
        const std::unique_ptr<VXExportSheetController> controller = std::move(sheet->controller);
        const bool isExported = returnCode == VXExportSheetController::Ok && exportWithSelectedExporter(*controller);
        sheet->tellDelegate(isExported ? VXExportSheetController::Ok : VXExportSheetController::Cancelled);
    };
    if (const std::optional<int> code = sheet->controller->returnCode()) // it ended while it was shown
        end(*code);
    else
        sheet->controller->setEndHandler(end);
}

bool VXDataManager::exportWithSelectedExporter(const VXExportSheetController &controller) const
{
    VXPluginProxy *const plugin =
        VXPluginManager::sharedPluginManager().pluginWithIdentifier(controller.selectedExporterIdentifier());
    const QString text = VXLocalizedString(u"Unable to export."_s);
    std::optional<VXError> error;
    if (plugin == nullptr) {
        error = VXMakeFileError(text, VXLocalizedString(u"There is no exporter."_s), {});
    } else {
        QString thrown;
        const auto call = [&] {
            error =
                plugin->as<VXExporterPlugin>("exportObjects:options:")
                    .exportObjects(controller.objects(), controller.selectedExporterOptions().value_or(QVariantMap()));
        };
        if (!VXCallPlugin(*plugin, "exportObjects:options:", call, &thrown))
            error = VXMakeFileError(text, thrown, {});
    }
    if (error)
        VXApplication::sharedApplication().presentError(*error);
    return !error;
}
