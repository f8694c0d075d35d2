#pragma once

#include "VXCoreDataStore.h"
#include "VXError.h"
#include "VXProgressWindow.h"
#include "VXStoreMigration.h"

#include <QtCore/QString>

#include <atomic>
#include <memory>
#include <thread>

class VXDataPlugin;
class VXManagedObjectContext;

/**
 * Copies one store into another with the hooks of a plugin, on a thread of its own, while a window shows how far it is and lets
 * the user cancel. What the hooks made is held against the source (VXSourceComparison), and saved on the main thread. A store of
 * its own is then read from its file and compared with what was to be saved (VXStoreVerification). Both unless the preference "migration.verify" is off. Main thread only, but for what says otherwise.
 */
class VX_EXPORT VXCoreDataStoreMigrationWindowController
{
public:
    using StorePtr = VXCoreDataStore::Ptr;

    /** The plugin must outlive the controller. */
    static std::unique_ptr<VXCoreDataStoreMigrationWindowController>
    importStore(const StorePtr &source, const StorePtr &destination, VXDataPlugin &plugin);
    static std::unique_ptr<VXCoreDataStoreMigrationWindowController>
    exportStore(const StorePtr &source, const StorePtr &destination, VXDataPlugin &plugin);

    /** Into a store in memory, to see what would become of the objects, in a merge or else an upgrade. */
    static std::unique_ptr<VXCoreDataStoreMigrationWindowController>
    rehearse(const StorePtr &source, const StorePtr &destination, VXDataPlugin &plugin, bool isMerge);

    virtual ~VXCoreDataStoreMigrationWindowController();
    VXCoreDataStoreMigrationWindowController(const VXCoreDataStoreMigrationWindowController &) = delete;
    VXCoreDataStoreMigrationWindowController &operator=(const VXCoreDataStoreMigrationWindowController &) = delete;

    /** Shows the window, and returns when the copy is done, has failed or was cancelled, and its thread has ended. Once.
     * @return the outcome. */
    VXError runModal();
    /** None means success. */
    const VXError &error() const { return _error; }
    void setError(const VXError &error) { _error = error; }
    /** How far it is, and what became of the objects. */
    VXStoreMigration &migration() { return _migration; }
    VXProgressWindow &window() { return *_window; }

    /** Begins; called by itself a moment after the window has appeared. */
    virtual void performMigration();
    /** Makes the outcome the cancelled error, and closes the window: what the user's button does. Nothing once it is done. */
    void cancel();

protected:
    VXCoreDataStoreMigrationWindowController(const QString &title, VXDataPlugin &plugin);

    /** After the copy was saved and the thread has ended: the last step, whose failure becomes the outcome. */
    virtual VXError finish();
    void setStores(const StorePtr &source, const StorePtr &destination);
    /** Lets go of both stores, and with that closes their files. */
    void closeStores();
    VXDataPlugin &plugin() { return _dataPlugin; }

private:
    class Handover;

    /** On the copying thread. */
    void performMigrationThreaded();
    void migrate();
    void tellOfNothing();
    bool performOnMainThread(const std::function<void()> &work);

    void contextDidMigrate(VXManagedObjectContext &context, bool isLast);
    void migrationDidComplete(const VXError &error);
    void showProgress();
    void waitForThread();

    VXError _error;
    VXDataPlugin &_dataPlugin;
    StorePtr _srcStore;
    StorePtr _dstStore;
    bool _isComplete = false; // the outcome is known

    const std::unique_ptr<VXProgressWindow> _window;
    VXStoreMigration _migration;
    const std::shared_ptr<Handover> _handover;
    std::thread _thread;
    std::atomic<bool> _hasThreadEnded = true;
    VXError _saveError;
};
