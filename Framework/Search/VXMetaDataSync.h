#pragma once

#include "VXFrameworkExport.h"
#include "VXManagedObjectContext.h"
#include "VXMetaDataCheck.h"
#include "VXMetaDataDebt.h"
#include "VXMetaDataMirror.h"
#include "VXMetaDataSettings.h"
#include "VXMetaDataState.h"
#include "VXMutex.h"
#include "VXNotificationCenter.h"

#include <QtCore/QHash>
#include <QtCore/QList>
#include <QtCore/QSet>
#include <QtCore/QString>
#include <QtCore/QStringList>

#include <atomic>
#include <chrono>
#include <memory>
#include <optional>

/** What the syncs of a process do. */
enum class VXMetaDataWork {
    Passes,   // each has a thread that goes through all objects whenever that is due
    OwnSaves, // each mirrors at its end what this process saved, if that is little: of one that does one thing and ends
};

/** What the files of an entity's objects tell besides the objects' own attributes. */
struct VXMetaDataInputs
{
    QStringList settings = {};      // user defaults that the texts go by; when one changes, all are written anew
    QStringList relationships = {}; // whose objects are read along with many
};

/**
 * Keeps a folder of small property lists, one for each object of an entity, in step with the store, for whoever searches.
 * A thread of its own goes through all objects after the store was saved (a pass), 5 seconds after the pass before or when
 * syncFrequency() has gone by; what was saved in this process it mirrors at once, ahead of the pass. It gives way to all others
 * (VXThread::vx_lowerPriority), but is not idle: it has locks that others wait for.
 * Of all processes one at a time works on a folder. Any thread may call.
 */
class VX_EXPORT VXMetaDataSync : public std::enable_shared_from_this<VXMetaDataSync>
{
public:
    using Ptr = std::shared_ptr<VXMetaDataSync>;

    /**
     * Starts to mirror into the folder of that identifier; the thread keeps the sync until terminate(). Null when the user
     * default "metadata.ignore" is true, and what was mirrored before is removed then; and without a coordinator.
     */
    static Ptr launchMetaDataSyncWithIdentifier(const QString &identifier,
                                                const VXPersistentStoreCoordinator::Ptr &coordinator,
                                                const QString &entityName, const QString &modificationDateKey,
                                                const VXMetaDataInputs &inputs = {});
    /** Makes a sync whose first pass is due, and starts nothing. Null, logged, without a coordinator. */
    static Ptr initWithIdentifier(const QString &identifier, const VXPersistentStoreCoordinator::Ptr &coordinator,
                                  const QString &entityName, const QString &modificationDateKey,
                                  const VXMetaDataInputs &inputs = {});
    ~VXMetaDataSync();
    VXMetaDataSync(const VXMetaDataSync &) = delete;
    VXMetaDataSync &operator=(const VXMetaDataSync &) = delete;

    /** What syncs that are launched from now on do; passes, unless told otherwise. */
    static void setWork(VXMetaDataWork work);
    /** Whether the user wants nothing mirrored. Who finds that out while syncs run has them mirror nothing more. */
    static bool isIgnored();
    /** Those launched that run, in the order of their identifiers. Each has its own: none of another entity or store is launched
     *  with that, which is logged, while it runs. */
    static QList<Ptr> launchedSyncs();

    /** Whether the index has all that is in the stores, as far as can be seen without them: nothing is owed, and nothing was replaced. */
    static bool isAllTakenIn(VXSearchIndex &index);

    /** Whether passes run on a thread of their own: true. */
    static bool isThreaded() { return true; }
    /** Seconds between looks whether a pass is due: the user default "metadata.sync.frequency", at least 10. One is made in a
     *  day at the latest. */
    static double syncFrequency();

    /** Until terminate(). */
    bool isRunning() const { return _active; }
    const QString &identifier() const { return _identifier; }
    const QString &entityName() const { return _entityName; }
    const VXPersistentStoreCoordinator::Ptr &persistentStoreCoordinator() const { return _persistentStoreCoordinator; }
    /** Whether a pass is due. */
    bool needsUpdate() const { return _needsUpdate; }
    void setNeedsUpdate(bool needsUpdate) { _needsUpdate = needsUpdate; }
    /**
     * Its thread looks at once whether a pass is due, instead of after syncFrequency(): somebody waits. A pass that runs goes on, and
     * the rest of 5 seconds after one that was broken off is not cut short.
     */
    void lookNow();
    /** Of the present or last pass. */
    VXMetaDataCounts counts() const;
    /** Whether somebody has removed what the last pass made. Not while a pass runs. */
    bool isMirrorGone() const;

    /** A save by a context of the coordinator makes a pass due. */
    void contextDidSaveNotification(const VXNotification &notification);
    /**
     * Ends the mirroring: waits at most 10 seconds until a file that is being written is whole, and then for the rest of them
     * until the thread has let go of the store; a pass stops at its next object. On the main thread that goes on serving.
     */
    void terminate();

    // -- The work, on the thread that calls; one thread at a time
    /** What came of a pass. */
    enum class Outcome {
        Done,
        Elsewhere, // another process works on the folder, and the time was over
        Failed,    // something could not be read or written, which is logged, or it was broken off
    };
    /** A pass over all objects. Waits for its turn until terminate(), or at most for that time. */
    Outcome synchronizeMetaDataFiles(std::optional<std::chrono::milliseconds> longestWait = {});
    /** Writes the object's file if it is not there or older than the object. False when it could not be written. Of the path only
     *  the name counts: it lies in the sync's folder. */
    bool synchronizeMetaDataFile(const QString &path, const VXManagedObject &object);
    /**
     * Writes the object's file anew, likewise. False without metadata, and when the old file cannot be removed; a new one that cannot
     * be written is logged, and the result is true.
     */
    bool writeObjectMetaData(const VXManagedObject &object, const QString &path);
    /**
     * Compares every file with its object, whatever their dates are, and with `repairs` puts right what differs. Waits while
     * another process works on the folder, a minute at most. None when store or folder cannot be read.
     */
    std::optional<VXMetaDataReport> checkMetaDataFiles(bool repairs, VXError *error = nullptr);
    /** Passes until terminate(). */
    void threadedMetaDataWorker();
    /** On the main thread: a pass if one is due, and again later. */
    void timedMetaDataWorker();

private:
    class Check;
    class Pass;
    struct SavedObjects
    {
        QSet<VXManagedObjectID> present;
        QSet<VXManagedObjectID> deleted;
        bool isAll = true; // else there were more
        bool isEmpty() const { return present.isEmpty() && deleted.isEmpty(); }
    };
    using Clock = std::chrono::steady_clock;

    VXMetaDataSync(const QString &identifier, const VXPersistentStoreCoordinator::Ptr &coordinator,
                   const QString &entityName, const QString &modificationDateKey, const VXMetaDataInputs &inputs);
    /** What the index says of the files. False, with an error, when that cannot be seen. */
    bool checkIndex(bool repairs, VXMetaDataReport *report, VXError *error);
    void addStoreListener();
    bool startWork();
    /** Whether one of another entity or store runs with that identifier, which is logged. */
    static bool isTakenByOther(const QString &identifier, const VXPersistentStoreCoordinator::Ptr &coordinator,
                               const QString &entityName);
    void noteOtherStore(bool isToStay) const;
    bool isNewAmongOthers() const;
    /** Of what was replaced by a copy all files are owed. */
    void noteReplacement() const;
    void noteChangesElsewhere();
    /** What is searched is whole once all that run have made a pass. */
    void settleIndex() const;
    /** Before what is to be saved is: a kill in the midst of it leaves word. */
    void contextWillSaveNotification(const VXNotification &notification);
    using ObjectIDs = QSet<VXManagedObjectID>;
    /** Of this entity, told anew because of others that are to be saved. */
    ObjectIDs objectsToldAnew(const VXNotification &notification) const;
    void markDebt(const VXNotification &notification, const ObjectIDs &toldAnew);
    bool isOfThisStore(const VXNotification &notification) const;
    void noteSaved(const VXNotification &notification, const ObjectIDs &toldAnew);
    std::chrono::milliseconds delay() const;
    void runDuePass();
    /** Mirrors what is saved meanwhile. */
    void sleepUntil(Clock::time_point time, bool mayBeWoken);
    void mirrorSavedObjects();
    void waitForWorker(Clock::time_point deadline);
    /** Around the work on one file. */
    void beginFile();
    void endFile();

    const QString _identifier;
    const QString _entityName;
    const QString _modificationDateKey;
    const VXPersistentStoreCoordinator::Ptr _persistentStoreCoordinator;
    const VXMetaDataSettings _settings;
    const QStringList _relationships; // read along with many objects
    VXMetaDataDebt _debt{_identifier};
    const VXMetaDataState _state{_identifier};
    VXMetaDataMirror _mirror;      // the worker's
    bool _mirrorsOwnSaves = false; // at the end
    qsizetype _mostSaved = 10000;  // more are left to the pass

    bool _isMade = false; // by the last pass; the worker's

    std::atomic<bool> _active{true};
    std::atomic<bool> _needsUpdate{true};

    VXMutex _lock;
    VXCondition _changed;
    bool _isWriting VX_GUARDED_BY(_lock) = false;     // while one file is synchronised
    bool _isWorkerThere VX_GUARDED_BY(_lock) = false; // on a thread of its own
    bool _isAwaited VX_GUARDED_BY(_lock) = false;     // by somebody, who wants it to look
    SavedObjects _saved VX_GUARDED_BY(_lock);         // and not mirrored yet
    QHash<const VXManagedObjectContext *, ObjectIDs> _toldAnew VX_GUARDED_BY(_lock); // of contexts that save
    QList<VXNotificationCenter::ObserverID> _observers VX_GUARDED_BY(_lock);
};
