#pragma once

#include "VXFrameworkExport.h"
#include "VXMutex.h"
#include "VXPersistentStoreCoordinator.h"

#include <QtCore/QByteArray>
#include <QtCore/QHash>
#include <QtCore/QObject>
#include <QtCore/QString>
#include <QtCore/QVariant>

#include <functional>
#include <memory>

class VXExportSheetController;
class VXPluginProxy;

// What data plugins that announce their saves and those who listen agree on; the framework itself posts none of it.
VX_EXPORT extern const QString VXDataStoreDidSaveNotification; // name of the notification
VX_EXPORT extern const QString VXEventNameKey;                 // user info: the event that the save stands for
VX_EXPORT extern const QString VXEntityStoreKey;               // user info: the store's name
VX_EXPORT extern const QString VXEntityNameKey;                // user info: the entity's name

/**
 * Finds the store of a name, whichever data plugin it belongs to, fixes where stores lie on disk, and runs the export
 * sheet. A coordinator once handed out stays the same for the life of the process.
 */
class VX_EXPORT VXDataManager
{
public:
    /** Made on first use and never freed. Any thread. */
    static VXDataManager &sharedDataManager();

    VXDataManager(const VXDataManager &) = delete;
    VXDataManager &operator=(const VXDataManager &) = delete;

    /** Where the store folders lie, and where those wait that replace one when its plugin loads. Not created here. */
    static QString sharedDataFolderPath();
    static QString sharedDataInstallPath();
    /** The model of smart filters (VXSmartFilter), to be merged into those of stores that keep some. */
    static QString smartFilterDataModelPath();
    /** The version of that model: stores that have an older one are upgraded, whatever the version of their plugin. */
    static QString smartFilterModelVersion();

    /** The enabled plugin that declares the store. None, or several, fail an assertion. Main thread only. */
    VXPluginProxy *pluginForDataStore(const QString &storeName) const;
    /** For who does not know whether there is one: nullptr when not exactly one declares it. Main thread only. */
    VXPluginProxy *findPluginForDataStore(const QString &storeName) const;

    /**
     * The store's coordinator. Null, logged, when its plugin is disabled, not loaded, or could not open the store, for
     * which the error is the plugin's; a later call tries again. Any thread; one that asks for a store for the first time waits for the main thread.
     */
    VXPersistentStoreCoordinator::Ptr sharedCoordinatorForDataStore(const QString &storeName, VXError *error = nullptr);
    /**
     * The coordinator of a store that was handed out before or that a loaded plugin has open. Null, without a word, for
     * any other, one that is just being opened among them. Any thread; waits for nobody.
     */
    VXPersistentStoreCoordinator::Ptr openCoordinatorForDataStore(const QString &storeName) const;

    /**
     * Makes the controller of an export sheet and shows it on the window (null for none), without waiting for its end.
     */
    using ExportSheetPresenter = std::function<std::unique_ptr<VXExportSheetController>(
        const QVariantList &objects, const QString &descriptiveClassName, QObject *window)>;
    /** Given by whoever shows windows; without one, export sheets end at once, cancelled. Main thread only. */
    void setExportSheetPresenter(ExportSheetPresenter presenter);

    using ExportWork = std::function<std::optional<VXError>()>;
    /** Does the work, which may take long, on whatever thread, and calls `done` with its answer on the main thread. */
    using ExportRunner =
        std::function<void(const ExportWork &work, const std::function<void(const std::optional<VXError> &)> &done)>;
    /** Given by whoever wants to go on meanwhile; without one the work is done at once. Main thread only. */
    void setExportRunner(ExportRunner runner);

    /**
     * Lets the user choose an exporter, and exports the objects. At the end the delegate's invokable method `selector`
     * is called with the window (QObject *), the return code (VXExportSheetController::ReturnCode; an export that
     * failed, which the user is told, counts as cancelled) and the user info. Delegate and window may be null, and may
     * go meanwhile. Main thread only.
     */
    void exportObjects(const QVariantList &objects, const QString &descriptiveClassName, QObject *window,
                       QObject *delegate, const QByteArray &selector, const QVariant &userInfo = {});

private:
    friend class VXDataPlugin;

    struct ExportSheet;

    VXDataManager();
    ~VXDataManager();

    void dataPluginDidOpenStore(const QString &storeName, const VXPersistentStoreCoordinator::Ptr &coordinator);
    VXPersistentStoreCoordinator::Ptr findCoordinator(const QString &storeName, VXError *error);
    static ExportWork workOfSelectedExporter(const VXExportSheetController &controller);

    ExportSheetPresenter _exportSheetPresenter;
    ExportRunner _exportRunner;
    mutable VXMutex _lock;
    QHash<QString, VXPersistentStoreCoordinator::Ptr> _sharedStoreCoordinators VX_GUARDED_BY(_lock);
    // Of the plugins that have a store open, for as long as somebody holds it.
    QHash<QString, std::weak_ptr<VXPersistentStoreCoordinator>> _openStoreCoordinators VX_GUARDED_BY(_lock);
};
