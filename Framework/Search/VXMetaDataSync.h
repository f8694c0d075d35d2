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

class VXMetaDataWatch;

/** How the syncs of a process work. */
enum class VXMetaDataWork {
    Passes, // each has a thread that goes through all objects whenever a pass is due
    // each mirrors at its end what this process saved, if that is little: for a process that does one thing and ends
    OwnSaves,
};

/** What the files of an entity's objects depend on besides the objects' own attributes. */
struct VXMetaDataInputs
{
    QStringList settings = {};      // user defaults that affect the texts; when one changes, all files are written anew
    QStringList relationships = {}; // their objects are prefetched when many objects are read
};

/**
 * Keeps a folder of small property lists, one for each object of an entity, in step with the store, so that searches
 * can use them. After a save, a thread of its own goes through all objects (a pass), 5 seconds after the previous pass
 * or when syncFrequency() has gone by; what was saved in this process it mirrors ahead of the pass: once 200 milliseconds pass
 * without another save, at once for whoever waits (lookNow), or after 3 seconds. The thread
 * has a low priority (VXThread::vx_lowerPriority) but is not idle, since it holds locks that others wait for. Of all
 * processes one at a time works on a folder. Any thread may call.
 */
class VX_EXPORT VXMetaDataSync : public std::enable_shared_from_this<VXMetaDataSync>
{
public:
    using Ptr = std::shared_ptr<VXMetaDataSync>;

    /**
     * Starts to mirror into the folder with that identifier; the thread keeps the sync alive until terminate(). Null
     * without a coordinator, and when the user default "metadata.ignore" is true; then what was mirrored before is
     * removed.
     */
    static Ptr launchMetaDataSyncWithIdentifier(const QString &identifier,
                                                const VXPersistentStoreCoordinator::Ptr &coordinator,
                                                const QString &entityName, const QString &modificationDateKey,
                                                const VXMetaDataInputs &inputs = {});
    /**
     * Looks whether data files of mirrored stores were put back from a backup, and then has all their files made anew. Called before
     * a store is opened: what is written into it then hides that it was replaced.
     */
    static void noteReplacedStores();
    /** Makes a sync whose first pass is due, and starts nothing. Null, logged, without a coordinator. */
    static Ptr initWithIdentifier(const QString &identifier, const VXPersistentStoreCoordinator::Ptr &coordinator,
                                  const QString &entityName, const QString &modificationDateKey,
                                  const VXMetaDataInputs &inputs = {});
    ~VXMetaDataSync();
    VXMetaDataSync(const VXMetaDataSync &) = delete;
    VXMetaDataSync &operator=(const VXMetaDataSync &) = delete;

    /** Sets how syncs that are launched from now on work; by default they make passes. */
    static void setWork(VXMetaDataWork work);
    /** Whether the user wants nothing mirrored. When this is found while syncs run, they mirror nothing more. */
    static bool isIgnored();
    /** The launched syncs that are running, ordered by identifier. Identifiers are unique: while a sync runs, none of
     *  another entity or store is launched with its identifier; the attempt is logged. */
    static QList<Ptr> launchedSyncs();

    /** Whether the index has all that is in the stores, as far as can be seen without them: nothing is owed, and nothing was replaced. */
    static bool isAllTakenIn(VXSearchIndex &index);

    /** Whether passes run on a thread of their own: true. */
    static bool isThreaded() { return true; }
    /** Seconds between checks whether a pass is due: the user default "metadata.sync.frequency", at least 10. A pass is
     *  made at least once a day. */
    static double syncFrequency();

    /** True until terminate(). */
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
    /** Whether somebody has removed what the last pass made. Not to be called during a pass. */
    bool isMirrorGone() const;

    /** To be called after a save by a context of the coordinator: makes a pass due. */
    void contextDidSaveNotification(const VXNotification &notification);
    /**
     * Ends the mirroring. Waits at most 10 seconds until a file that is being written is whole, and uses the rest of
     * that time to wait until the thread has let go of the store; a pass stops at its next object. On the main thread,
     * calls to it are still served meanwhile.
     */
    void terminate();

    // -- The work, on the calling thread; one thread at a time
    /** The result of a pass. */
    enum class Outcome {
        Done,
        Elsewhere, // another process worked on the folder until the time limit
        Failed,    // something could not be read or written, which is logged, or the pass was broken off
    };
    /** Makes a pass over all objects. Waits for its turn until terminate(), or at most for the given time. */
    Outcome synchronizeMetaDataFiles(std::optional<std::chrono::milliseconds> longestWait = {});
    /** Writes the object's file if it is missing or older than the object. False when it could not be written. Only the
     *  name in the path counts: the file is in the sync's folder. */
    bool synchronizeMetaDataFile(const QString &path, const VXManagedObject &object);
    /**
     * Writes the object's file anew; of the path, too, only the name counts. False without metadata, and when the old
     * file cannot be removed. If the new file cannot be written, that is logged, and the result is true.
     */
    bool writeObjectMetaData(const VXManagedObject &object, const QString &path);
    /**
     * Compares every file with its object, whatever their dates are, and with `repairs` corrects what differs. Waits
     * while another process works on the folder, a minute at most. None when store or folder cannot be read.
     */
    std::optional<VXMetaDataReport> checkMetaDataFiles(bool repairs, VXError *error = nullptr);
    /** Makes passes until terminate(). */
    void threadedMetaDataWorker();
    /** On the main thread: makes a pass if one is due, and calls itself again later. */
    void timedMetaDataWorker();

private:
    class Check;
    class Pass;
    struct SavedObjects
    {
        QSet<VXManagedObjectID> present;
        QSet<VXManagedObjectID> deleted;
        bool isAll = true; // false: there were more than are listed
        bool isEmpty() const { return present.isEmpty() && deleted.isEmpty(); }
    };
    using Clock = std::chrono::steady_clock;

    VXMetaDataSync(const QString &identifier, const VXPersistentStoreCoordinator::Ptr &coordinator,
                   const QString &entityName, const QString &modificationDateKey, const VXMetaDataInputs &inputs);
    /** Checks what the index says of the files. False, with an error, when that cannot be determined. */
    bool checkIndex(bool repairs, VXMetaDataReport *report, VXError *error);
    void addStoreListener();
    bool startWork();
    /** Whether a sync of another entity or store runs with that identifier; if so, logs it. */
    static bool isTakenByOther(const QString &identifier, const VXPersistentStoreCoordinator::Ptr &coordinator,
                               const QString &entityName);
    void noteOtherStore(bool isToStay) const;
    bool isNewAmongOthers() const;
    /** Of what was replaced by a copy all files are owed. */
    void noteReplacement() const;
    void noteChangesElsewhere();
    /** What a program of somebody else has written while the store is open here is owed: all of it. */
    void noteWritingOfOthers();
    /** Marks the whole index complete once all running syncs have made a pass. */
    void settleIndex() const;
    /** Called before the save itself: a process killed during the save leaves word of it. */
    void contextWillSaveNotification(const VXNotification &notification);
    using ObjectIDs = QSet<VXManagedObjectID>;
    /** Objects of this entity whose metadata becomes outdated because others are about to be saved. */
    ObjectIDs objectsToldAnew(const VXNotification &notification) const;
    void markDebt(const VXNotification &notification, const ObjectIDs &toldAnew);
    bool isOfThisStore(const VXNotification &notification) const;
    void noteSaved(const VXNotification &notification, const ObjectIDs &toldAnew);
    std::chrono::milliseconds delay() const;
    /** Whether a pass was due, and was made. */
    bool runDuePass();
    /** Mirrors what is saved meanwhile. */
    void sleepUntil(Clock::time_point time, bool mayBeWoken);
    bool isAnySaved();
    void awaitLastSave();
    void mirrorSavedObjects();
    void waitForWorker(Clock::time_point deadline);
    /** Called around the work on one file. */
    void beginFile();
    void endFile();

    const QString _identifier;
    const QString _entityName;
    const QString _modificationDateKey;
    const VXPersistentStoreCoordinator::Ptr _persistentStoreCoordinator;
    const VXMetaDataSettings _settings;
    const QStringList _relationships; // prefetched when many objects are read
    VXMetaDataDebt _debt{_identifier};
    const VXMetaDataState _state{_identifier};
    VXMetaDataMirror _mirror;      // the worker's
    bool _mirrorsOwnSaves = false; // at the end
    qsizetype _mostSaved = 10000;  // more are left to the pass

    bool _isMade = false; // whether the last pass made the mirror; this and _watch: for the worker only
    std::unique_ptr<VXMetaDataWatch> _watch;

    std::atomic<quint64> _ownSaves{0}; // begun by this process, in the store
    std::atomic<bool> _active{true};
    std::atomic<bool> _needsUpdate{true};

    VXMutex _lock;
    VXCondition _changed;
    bool _isWriting VX_GUARDED_BY(_lock) = false;     // while one file is synchronised
    bool _isWorkerThere VX_GUARDED_BY(_lock) = false; // on a thread of its own
    bool _isAwaited VX_GUARDED_BY(_lock) = false;     // by somebody, who wants it to look
    SavedObjects _saved VX_GUARDED_BY(_lock);         // and not mirrored yet
    quint64 _heardSaves VX_GUARDED_BY(_lock) = 0;     // that had any
    QHash<const VXManagedObjectContext *, ObjectIDs> _toldAnew VX_GUARDED_BY(_lock); // of contexts that save
    QList<VXNotificationCenter::ObserverID> _observers VX_GUARDED_BY(_lock);
};
