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

// Names for notifications of data plugins about their saves; the framework itself posts none.
VX_EXPORT extern const QString VXDataStoreDidSaveNotification; // name of the notification
VX_EXPORT extern const QString VXEventNameKey;                 // user info: the event that the save stands for
VX_EXPORT extern const QString VXEntityStoreKey;               // user info: the store's name
VX_EXPORT extern const QString VXEntityNameKey;                // user info: the entity's name

/**
 * Finds the store with a given name, whichever data plugin it belongs to, defines where stores are on disk, and runs
 * the export sheet. A coordinator that was handed out once stays the same for the life of the process.
 */
class VX_EXPORT VXDataManager
{
public:
    /** Made on first use and never freed. Any thread. */
    static VXDataManager &sharedDataManager();

    VXDataManager(const VXDataManager &) = delete;
    VXDataManager &operator=(const VXDataManager &) = delete;

    /** The folder of the store folders, and the one where stores wait that replace one when its plugin loads. Neither
     *  is created here. */
    static QString sharedDataFolderPath();
    static QString sharedDataInstallPath();
    /** The model of smart filters (VXSmartFilter), to be merged into the models of stores that keep such filters. */
    static QString smartFilterDataModelPath();
    /** The version of that model: stores with an older one are upgraded, whatever the version of their plugin is. */
    static QString smartFilterModelVersion();

    /** The enabled plugin that declares the store. None, or several, fail an assertion. Main thread only. */
    VXPluginProxy *pluginForDataStore(const QString &storeName) const;
    /** The same for callers that do not know whether there is one: nullptr unless exactly one plugin declares the
     *  store. Main thread only. */
    VXPluginProxy *findPluginForDataStore(const QString &storeName) const;

    /**
     * The store's coordinator. Null, logged, when its plugin is disabled or not loaded, or could not open the store;
     * then the error is the plugin's, and a later call tries again. Any thread; the first call for a store waits for
     * the main thread.
     */
    VXPersistentStoreCoordinator::Ptr sharedCoordinatorForDataStore(const QString &storeName, VXError *error = nullptr);
    /**
     * The same for callers that do not know whether there is such a store: null, without logging, unless exactly one
     * enabled plugin declares it. `problem`, if given, is set when there is one and it cannot be used. Main thread only.
     */
    VXPersistentStoreCoordinator::Ptr findCoordinatorForDataStore(const QString &storeName, QString *problem = nullptr);
    /**
     * The coordinator of a store that was handed out before or that a loaded plugin has open. Null, without logging,
     * for any other store, including one that is just being opened. Any thread; does not block.
     */
    VXPersistentStoreCoordinator::Ptr openCoordinatorForDataStore(const QString &storeName) const;

    /**
     * Makes the controller of an export sheet and shows it on the window (null for none), without waiting for its end.
     */
    using ExportSheetPresenter = std::function<std::unique_ptr<VXExportSheetController>(
        const QVariantList &objects, const QString &descriptiveClassName, QObject *window)>;
    /** Set by the part that shows windows; without a presenter, export sheets end at once as cancelled. Main thread
     *  only. */
    void setExportSheetPresenter(ExportSheetPresenter presenter);

    using ExportWork = std::function<std::optional<VXError>()>;
    /** Runs the work, which may take long, on any thread, and calls `done` with its result on the main thread. */
    using ExportRunner =
        std::function<void(const ExportWork &work, const std::function<void(const std::optional<VXError> &)> &done)>;
    /** Set by an application that wants to stay responsive meanwhile; without a runner the work is done at once. Main
     *  thread only. */
    void setExportRunner(ExportRunner runner);

    /**
     * Lets the user choose an exporter, and exports the objects. In the end the delegate's invokable method `selector`
     * is called with the window (QObject *), the return code (VXExportSheetController::ReturnCode; an export that
     * failed, of which the user is told, counts as cancelled) and the user info. Delegate and window may be null, and
     * may be destroyed meanwhile. Main thread only.
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
    // Of plugins that have a store open; valid as long as somebody holds the coordinator.
    QHash<QString, std::weak_ptr<VXPersistentStoreCoordinator>> _openStoreCoordinators VX_GUARDED_BY(_lock);
};
