#include "VXMetaDataSync.h"

#include "VXFileManager.h"
#include "VXMainThread.h"
#include "VXMetaDataKeeper.h"
#include "VXMetaDataOrigin.h"
#include "VXMetaDataRemoval.h"
#include "VXMetaDataWatch.h"
#include "VXMethodLog.h"
#include "VXSearchIndex.h"
#include "VXThread.h"
#include "VXUserDefaults.h"
#include "VXWorkerThreads.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QScopeGuard>
#include <QtCore/QTimer>

#include <algorithm>
#include <cmath>
#include <utility>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

constexpr double shortestFrequency = 10;                 // seconds
constexpr double longestFrequency = 24 * 60 * 60;        // seconds
constexpr std::chrono::milliseconds delayAfterSave = 5s; // if saved during a pass
constexpr std::chrono::seconds longestFarewell = 10s;
// Saves that follow one another as closely are mirrored together, when the last was made or the first waits for so long
constexpr std::chrono::milliseconds pauseBetweenSaves = 200ms;
constexpr std::chrono::milliseconds longestGathering = 3s;
constexpr std::chrono::milliseconds servingTurn = 5ms;
constexpr qsizetype mostOwnSaves = 100; // takes a few milliseconds

std::atomic<VXMetaDataWork> workOfProcess{VXMetaDataWork::Passes};

/** The launched syncs. */
struct Launched
{
    VXMutex lock;
    QList<std::weak_ptr<VXMetaDataSync>> syncs VX_GUARDED_BY(lock);

    static Launched &shared()
    {
        static auto &launched = *new Launched;
        return launched;
    }
};

void oweAllIfReplaced(const VXMetaDataState &state, const VXMetaDataDebt &debt)
{
    if (!state.isReplaced())
        return;
    debt.markAll();
    debt.leaveToPass(); // whatever this process mirrors of its own
}

std::chrono::milliseconds pollingInterval()
{
    const double seconds = std::min(VXMetaDataSync::syncFrequency(), longestFrequency);
    return std::chrono::milliseconds(std::llround(seconds * 1000));
}

} // namespace

VXMetaDataSync::VXMetaDataSync(const QString &identifier, const VXPersistentStoreCoordinator::Ptr &coordinator,
                               const QString &entityName, const QString &modificationDateKey,
                               const VXMetaDataInputs &inputs)
    : _identifier(identifier), _entityName(entityName), _modificationDateKey(modificationDateKey),
      _persistentStoreCoordinator(coordinator), _settings(identifier, inputs.settings),
      _relationships(inputs.relationships), _mirror(identifier, modificationDateKey)
{
}

VXMetaDataSync::~VXMetaDataSync() = default;

void VXMetaDataSync::setWork(VXMetaDataWork work)
{
    workOfProcess = work;
}

QList<VXMetaDataSync::Ptr> VXMetaDataSync::launchedSyncs()
{
    Launched &launched = Launched::shared();
    QList<Ptr> syncs;
    {
        const VXMutexLocker locker(launched.lock);
        for (const std::weak_ptr<VXMetaDataSync> &each : std::as_const(launched.syncs))
            syncs.append(each.lock());
    }
    syncs.removeIf([](const Ptr &sync) { return !sync || !sync->isRunning(); });
    std::ranges::sort(syncs, {}, [](const Ptr &sync) { return sync->_identifier; });
    return syncs;
}

VXMetaDataSync::Ptr VXMetaDataSync::launchMetaDataSyncWithIdentifier(
    const QString &identifier, const VXPersistentStoreCoordinator::Ptr &coordinator, const QString &entityName,
    const QString &modificationDateKey, const VXMetaDataInputs &inputs)
{
    if (isTakenByOther(identifier, coordinator, entityName))
        return nullptr;
    if (isIgnored()) {
        static_cast<void>(VXMetaDataRemoval::remove(identifier)); // on failure it is tried again at the next launch
        return nullptr;
    }
    const Ptr sync = initWithIdentifier(identifier, coordinator, entityName, modificationDateKey, inputs);
    if (!sync || !sync->startWork())
        return nullptr;
    Launched &launched = Launched::shared();
    const VXMutexLocker locker(launched.lock);
    launched.syncs.removeIf([](const std::weak_ptr<VXMetaDataSync> &each) { return each.expired(); });
    launched.syncs.append(sync);
    return sync;
}

// Two syncs in one folder would take each other's files for orphans.
bool VXMetaDataSync::isTakenByOther(const QString &identifier, const VXPersistentStoreCoordinator::Ptr &coordinator,
                                    const QString &entityName)
{
    const QList<Ptr> syncs = launchedSyncs();
    const auto other = std::ranges::find_if(syncs, [&](const Ptr &each) {
        return each->_identifier == identifier &&
               (each->_entityName != entityName || each->_persistentStoreCoordinator != coordinator);
    });
    if (other == syncs.cend())
        return false;
    VXLogClassMethod(VXLogError, VXMetaDataSync,
                     "launchMetaDataSyncWithIdentifier:persistentStoreCoordinator:entityName:modificationDateKey:",
                     "%1/%2: another sync with this identifier runs, of %3; each entity needs one of its own"_L1.arg(
                         identifier, entityName, (*other)->_entityName));
    return true;
}

// Makes a pass due even if nothing is saved, so that the files are made anew.
void VXMetaDataSync::noteOtherStore(bool isToStay) const
{
    noteReplacement();
    _state.noteStoresWhenClosed();
    const QByteArray origin = VXMetaDataFolder(_identifier).origin();
    const bool isSame = origin.isEmpty() || origin == VXMarkOfStores(*_persistentStoreCoordinator);
    // Otherwise other syncs may mark the index complete before this one has made its pass.
    if (!isSame || ((origin.isEmpty() || isToStay) && isNewAmongOthers()))
        _debt.markPass();
}

void VXMetaDataSync::noteReplacement() const
{
    oweAllIfReplaced(_state, _debt);
}

void VXMetaDataSync::noteReplacedStores()
{
    const QStringList identifiers = VXAllMarksOfStores().keys();
    for (const QString &identifier : identifiers)
        oweAllIfReplaced(VXMetaDataState(identifier), VXMetaDataDebt(identifier));
}

// Who searches looks at an index that says that it is whole.
bool VXMetaDataSync::isNewAmongOthers() const
{
    const std::unique_ptr<VXSearchIndex> index = VXSearchIndex::openExisting();
    return index && index->isAllComplete(nullptr) && !index->folders(nullptr).contains(_identifier);
}

// False when the program is ending.
bool VXMetaDataSync::startWork()
{
    _mirrorsOwnSaves = workOfProcess == VXMetaDataWork::OwnSaves;
    noteOtherStore(!_mirrorsOwnSaves);
    if (_mirrorsOwnSaves) {
        _mostSaved = mostOwnSaves;
        return true;
    }
    VXMetaDataKeeper::begin();
    if (!isThreaded()) {
        QTimer::singleShot(pollingInterval(), [self = shared_from_this()] { self->timedMetaDataWorker(); });
        return true;
    }
    {
        const VXMutexLocker locker(_lock);
        _isWorkerThere = true;
    }
    const bool isStarted =
        VXWorkerThreads::shared().start([self = shared_from_this()] { self->threadedMetaDataWorker(); },
                                        [self = shared_from_this()] { self->terminate(); });
    if (!isStarted) {
        const VXMutexLocker locker(_lock);
        _isWorkerThere = false;
    }
    return isStarted;
}

VXMetaDataSync::Ptr VXMetaDataSync::initWithIdentifier(const QString &identifier,
                                                       const VXPersistentStoreCoordinator::Ptr &coordinator,
                                                       const QString &entityName, const QString &modificationDateKey,
                                                       const VXMetaDataInputs &inputs)
{
    if (!coordinator) {
        VXLogClassMethod(VXLogError, VXMetaDataSync,
                         "initWithIdentifier:persistentStoreCoordinator:entityName:modificationDateKey:",
                         "thePersistentStoreCoordinator can not be nil: %1/%2"_L1.arg(identifier, entityName));
        return nullptr;
    }
    const Ptr sync(new VXMetaDataSync(identifier, coordinator, entityName, modificationDateKey, inputs));
    if (!VXMainThread::performAndWait([&sync] { sync->addStoreListener(); }))
        return nullptr; // the program is ending
    return sync;
}

void VXMetaDataSync::addStoreListener()
{
    const auto observe = [this](VXNotificationName name, void (VXMetaDataSync::*call)(const VXNotification &)) {
        return VXNotificationCenter::defaultCenter().addObserver(
            nullptr, name, [weak = weak_from_this(), call](const VXNotification &notification) {
                if (const Ptr self = weak.lock())
                    (self.get()->*call)(notification);
            });
    };
    const QList<VXNotificationCenter::ObserverID> observers{
        observe(VXManagedObjectContextWillSaveNotification, &VXMetaDataSync::contextWillSaveNotification),
        observe(VXManagedObjectContextDidSaveNotification, &VXMetaDataSync::contextDidSaveNotification)};
    const VXMutexLocker locker(_lock);
    _observers = observers;
}

bool VXMetaDataSync::isIgnored()
{
    return VXUserDefaults::standardUserDefaults().boolForKey(u"metadata.ignore"_s);
}

bool VXMetaDataSync::isAllTakenIn(VXSearchIndex &index)
{
    return !VXMetaDataDebt::isAnyOfAll() && VXMetaDataSettings::areAllPresent() && VXAreMarkedStoresInPlace() &&
           index.isAllComplete(nullptr) && VXMetaDataState::areAllAsLeft(index);
}

void VXMetaDataSync::lookNow()
{
    const VXMutexLocker locker(_lock);
    _isAwaited = true;
    _changed.notifyAll();
}

VXMetaDataCounts VXMetaDataSync::counts() const
{
    return _mirror.counts();
}

double VXMetaDataSync::syncFrequency()
{
    const double frequency =
        VXUserDefaults::standardUserDefaults().objectForKey(u"metadata.sync.frequency"_s).toDouble();
    return frequency >= shortestFrequency ? frequency : shortestFrequency; // also false for NaN
}

void VXMetaDataSync::terminate()
{
    const auto deadline = Clock::now() + longestFarewell;
    if (_mirrorsOwnSaves && isRunning())
        mirrorSavedObjects();
    QList<VXNotificationCenter::ObserverID> observers;
    {
        const VXMutexLocker locker(_lock);
        // The writer may be stuck in a class of the store that never returns.
        static_cast<void>(
            _changed.waitFor(_lock, longestFarewell, [this]() VX_NO_THREAD_SAFETY_ANALYSIS { return !_isWriting; }));
        _active = false;
        observers = std::exchange(_observers, {});
        _changed.notifyAll();
    }
    const auto unregister = [&observers] {
        for (const VXNotificationCenter::ObserverID observer : std::as_const(observers))
            VXNotificationCenter::defaultCenter().removeObserver(observer);
    };
    if (!VXMainThread::performAndWait(unregister))
        unregister(); // the main thread takes no more calls
    waitForWorker(deadline);
}

// Serves calls meanwhile, since the worker may be waiting for the main thread to show its activity.
void VXMetaDataSync::waitForWorker(Clock::time_point deadline)
{
    const bool serves = VXMainThread::isCurrent() && !VXMainThread::hasEnded();
    while (Clock::now() < deadline) {
        {
            const VXMutexLocker locker(_lock);
            const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now());
            if (_changed.waitFor(_lock, serves ? std::min(servingTurn, left) : left,
                                 [this]() VX_NO_THREAD_SAFETY_ANALYSIS { return !_isWorkerThere; }))
                return;
        }
        if (serves)
            QCoreApplication::processEvents(QEventLoop::ExcludeUserInputEvents);
    }
}

void VXMetaDataSync::beginFile()
{
    const VXMutexLocker locker(_lock);
    _isWriting = true;
}

void VXMetaDataSync::endFile()
{
    const VXMutexLocker locker(_lock);
    _isWriting = false;
    _changed.notifyAll();
}

bool VXMetaDataSync::synchronizeMetaDataFile(const QString &path, const VXManagedObject &object)
{
    const VXMetaDataMirror::Use use(_mirror);
    return _mirror.synchronizeFile(path.section(u'/', -1), object);
}

bool VXMetaDataSync::writeObjectMetaData(const VXManagedObject &object, const QString &path)
{
    const VXMetaDataMirror::Use use(_mirror);
    return _mirror.writeFile(path.section(u'/', -1), object);
}

// -- The worker

std::chrono::milliseconds VXMetaDataSync::delay() const
{
    return needsUpdate() ? delayAfterSave : pollingInterval();
}

bool VXMetaDataSync::runDuePass()
{
    noteChangesElsewhere();
    const bool isWanted = !isIgnored();
    if (!isWanted)
        static_cast<void>(VXMetaDataRemoval::remove(_identifier));
    const bool isDue = isWanted && _needsUpdate.exchange(false);
    if (isDue)
        synchronizeMetaDataFiles();
    return isDue;
}

// Notices what other processes have saved, set and removed.
void VXMetaDataSync::noteChangesElsewhere()
{
    if (_isMade) // else it is about to be
        noteReplacement();
    noteWritingOfOthers();
    if (_debt.isAny() || !_settings.areNoted(_settings.present()) || !_settings.isGenerationNoted() || isMirrorGone())
        setNeedsUpdate(true);
    // The new values are seen the next time. On the main thread, because that is where the observers of user defaults
    // are.
    VXMainThread::perform([] { static_cast<void>(VXUserDefaults::standardUserDefaults().synchronize()); });
}

void VXMetaDataSync::noteWritingOfOthers()
{
    if (!_watch) {
        _watch = std::make_unique<VXMetaDataWatch>(*_persistentStoreCoordinator);
        return;
    }
    if (!_watch->isWrittenByOthers(_ownSaves) || _debt.isAny() || isIgnored())
        return;
    VXLogMethod(VXLogNotice, "noteChangesElsewhere",
                "%1: another program has written to the store, and all files are made anew"_L1.arg(_identifier));
    _debt.markAll();
    _debt.leaveToPass();
}

bool VXMetaDataSync::isMirrorGone() const
{
    if (!_isMade)
        return false;
    const std::unique_ptr<VXSearchIndex> index = VXSearchIndex::openExisting();
    return !VXExistsAtPath(_mirror.folder().path()) || !_mirror.isIndexStillThere() ||
           (index && !_state.isIndexAsLeft(*index));
}

void VXMetaDataSync::settleIndex() const
{
    QStringList identifiers{_identifier};
    for (const Ptr &sync : launchedSyncs())
        identifiers.append(sync->_identifier);
    VXError error;
    const std::unique_ptr<VXSearchIndex> index = VXSearchIndex::openExisting(&error);
    if (index && !index->isAllComplete(&error))
        static_cast<void>(index->settleAll(identifiers, &error));
    if (error)
        VXLogMethod(VXLogWarning, "settleIndex", error.description());
}

void VXMetaDataSync::threadedMetaDataWorker()
{
    const auto end = qScopeGuard([this] {
        const VXMutexLocker locker(_lock);
        _isWorkerThere = false;
        _changed.notifyAll();
    });
    while (isRunning()) {
        VXThread::vx_lowerPriority();
        const bool hasPassed = runDuePass();
        const Clock::time_point now = Clock::now();
        if (hasPassed) // whoever waits
            sleepUntil(now + delayAfterSave, false);
        sleepUntil(now + delay(), !needsUpdate());
    }
    noteWritingOfOthers(); // then the store is closed, and its file counts as left by us
    _watch.reset();
}

void VXMetaDataSync::timedMetaDataWorker()
{
    if (!isRunning())
        return;
    runDuePass();
    QTimer::singleShot(delay(), [self = shared_from_this()] { self->timedMetaDataWorker(); });
}

void VXMetaDataSync::sleepUntil(Clock::time_point time, bool mayBeWoken)
{
    while (isRunning()) {
        {
            const VXMutexLocker locker(_lock);
            const auto left = std::chrono::ceil<std::chrono::milliseconds>(time - Clock::now());
            if (const bool isWoken = std::exchange(_isAwaited, false) && mayBeWoken; isWoken || left.count() <= 0)
                return;
            static_cast<void>(_changed.waitFor(_lock, left, [this]() VX_NO_THREAD_SAFETY_ANALYSIS {
                return !_active || !_saved.isEmpty() || _isAwaited;
            }));
        }
        if (isRunning() && isAnySaved()) {
            awaitLastSave();
            mirrorSavedObjects();
        }
    }
}

bool VXMetaDataSync::isAnySaved()
{
    const VXMutexLocker locker(_lock);
    return !_saved.isEmpty();
}

// Who saves many objects in turn, as a sync or an import does, has the processor and the disk for that.
void VXMetaDataSync::awaitLastSave()
{
    const auto end = Clock::now() + longestGathering;
    const VXMutexLocker locker(_lock);
    for (quint64 heard = _heardSaves - 1; heard != _heardSaves && Clock::now() < end;) {
        heard = _heardSaves;
        static_cast<void>(_changed.waitFor(_lock, pauseBetweenSaves, [&]() VX_NO_THREAD_SAFETY_ANALYSIS {
            return !_active || _isAwaited || heard != _heardSaves;
        }));
        if (!_active || _isAwaited)
            return;
    }
}
