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
 * Copies one store into another by the hooks of a plugin, on a thread of its own, while a window shows the progress and
 * lets the user cancel. What the hooks made is compared with the source (VXSourceComparison) and saved on the main
 * thread. A destination of its own is then read back from its file and compared with what was to be saved
 * (VXStoreVerification). The preference "migration.verify" turns both comparisons off. Main thread only, unless stated
 * otherwise.
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

    /** Copies into a store in memory, to see what would become of the objects in a merge or (not `isMerge`) an upgrade.
     *  */
    static std::unique_ptr<VXCoreDataStoreMigrationWindowController>
    rehearse(const StorePtr &source, const StorePtr &destination, VXDataPlugin &plugin, bool isMerge);

    virtual ~VXCoreDataStoreMigrationWindowController();
    VXCoreDataStoreMigrationWindowController(const VXCoreDataStoreMigrationWindowController &) = delete;
    VXCoreDataStoreMigrationWindowController &operator=(const VXCoreDataStoreMigrationWindowController &) = delete;

    /** Shows the window, and returns when the copy is done, has failed or was cancelled, and its thread has ended. To
     *  be called once. @return the outcome. */
    VXError runModal();
    /** The outcome; none means success. */
    const VXError &error() const { return _error; }
    void setError(const VXError &error) { _error = error; }
    /** The progress, and what became of the objects. */
    VXStoreMigration &migration() { return _migration; }
    VXProgressWindow &window() { return *_window; }

    /** Starts the copy; runModal() has it called shortly after the window has appeared. */
    virtual void performMigration();
    /** Makes the outcome the cancelled error and closes the window, as the user's button does. Without effect once the
     *  copy is done. */
    void cancel();

protected:
    VXCoreDataStoreMigrationWindowController(const QString &title, VXDataPlugin &plugin);

    /** The last step, after the copy was saved and the thread has ended; its failure becomes the outcome. */
    virtual VXError finish();
    void setStores(const StorePtr &source, const StorePtr &destination);
    /** Releases both stores, which closes their files. */
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
