#include "VXActivityManager.h"
#include "VXFileLock.h"
#include "VXFileManager.h"
#include "VXFramework.h"
#include "VXGuard.h"
#include "VXMetaDataNames.h"
#include "VXMetaDataOrigin.h"
#include "VXMetaDataSource.h"
#include "VXMetaDataSync.h"
#include "VXMetaDataWalk.h"
#include "VXMethodLog.h"
#include "VXNumberSet.h"
#include "VXPropertyList.h"
#include "VXThread.h"

#include <QtCore/QFile>
#include <QtCore/QScopeGuard>

#include <algorithm>
#include <chrono>
#include <optional>
#include <sys/stat.h>
#include <tuple>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

constexpr std::chrono::milliseconds turnPoll = 200ms; // while another process works on the folder
constexpr int mostPolls = 25;                         // for others, for whom users wait: those wait two seconds
constexpr int betweenLooks = 100;                     // objects, until it looks whether somebody waits

} // namespace

/** One pass over all objects of the entity. */
class VXMetaDataSync::Pass
{
public:
    using Wait = std::optional<std::chrono::milliseconds>; // none: without a limit
    explicit Pass(VXMetaDataSync &sync) : _sync(sync), _context(sync._persistentStoreCoordinator) {}
    Outcome run(Wait longestWait);
    /** Mirrors only what was saved, and only if nobody else is at work. False when some of it is left. */
    bool runFor(const SavedObjects &saved);

private:
    bool waitForTurn(Wait longestWait);
    bool takeTurn(std::chrono::milliseconds time);
    /** Whether this gives way, and a user waits for another process that wants the turn, still after that time. */
    bool isUserWaiting(std::chrono::milliseconds time) const;
    /** Now and then; not where the next one would have to begin anew. */
    bool isToGiveWay();
    /** Whether somebody has removed the lock file: others may have begun to work since. */
    bool isTurnLost() const;
    void trashFormerFolder() const;
    bool prepareFolder();
    /** Whether the files describe objects of this store. */
    bool isOfThisStore() const;
    /** Removes the files of another store, whose objects have the same numbers. False when it was broken off. */
    bool makeWayForStore();
    /** Does all that is due; the caller holds the folder's lock. False when it was broken off. */
    bool work();
    /** This and removeOrphans() run only if the step before was complete, or the sync no longer runs. False when broken
     *  off. */
    bool synchronizeObjects(const VXEntityDescription &entity);
    bool removeOrphans(qint64 *fileCount);
    /** Whether the pass is to end now, before orphans are removed. */
    bool isToStop();
    /** True if the files of all of the page's objects are current; they are counted then. Otherwise nothing is counted.
     *  */
    bool passOver(const VXMetaDataWalk::Page &page);
    void synchronizeOne(const VXManagedObjectPtr &object);
    /** Otherwise notes that the last object has to be described anew, and breaks off. */
    bool wasAllRead(const VXManagedObject &last);
    /** False when the object no longer exists. */
    bool synchronize(const VXManagedObjectPtr &object, const QString &name);
    /** Runs the work on one file. False when a class of the store threw, which is logged. */
    template <class Work>
    bool withFile(const Work &work);
    void trace(std::chrono::duration<double> duration) const;
    void log(unsigned level, const QString &text) const
    {
        VXLogFrom(VXInstanceOrigin(&_sync, "synchronizeMetaDataFiles"), level, text);
    }

    VXMetaDataSync &_sync;
    VXManagedObjectContext _context;
    std::unique_ptr<VXFileLock> _turn;
    bool _isRefused = false; // the lock cannot be had, now or later
    bool _givesWay = false;  // to others, for whom users wait
    int _untilLook = 0;      // objects
    VXActivity::Ptr _activity;
    VXNumberSet _numbers;       // of the objects that have been visited
    QList<qint64> _undescribed; // objects whose class threw
    std::optional<VXMetaDataNames> _names;
    bool _isBrokenOff = false;
};

VXMetaDataSync::Outcome VXMetaDataSync::synchronizeMetaDataFiles(std::optional<std::chrono::milliseconds> longestWait)
{
    return Pass(*this).run(longestWait);
}

void VXMetaDataSync::mirrorSavedObjects()
{
    SavedObjects saved;
    {
        const VXMutexLocker locker(_lock);
        saved = std::exchange(_saved, {});
    }
    if (isIgnored() || saved.isEmpty()) // a save that is under way has left word already
        return;
    if (!Pass(*this).runFor(saved))
        return _debt.leaveToPass();
    const VXMutexLocker locker(_lock);
    if (_saved.isEmpty())
        _debt.settleOwn();
}

VXMetaDataSync::Outcome VXMetaDataSync::Pass::run(Wait longestWait)
{
    _sync._mirror.resetCounts();
    _givesWay = !longestWait && VXThread::vx_isPriorityLow();
    const auto start = std::chrono::steady_clock::now();
    _activity = VXActivityManager::sharedActivityManager().addActivityWithTitle(
        VXLocalizedString(u"Updating Spotlight data"_s));
    const auto end = qScopeGuard([this] { VXActivityManager::sharedActivityManager().removeActivity(_activity); });
    if (!_sync.isRunning()) // meanwhile: the folders above may be gone as well
        return Outcome::Failed;
    trashFormerFolder();
    if (!prepareFolder())
        return Outcome::Failed;
    if (!waitForTurn(longestWait))
        return _isRefused || !_sync.isRunning() ? Outcome::Failed : Outcome::Elsewhere;
    _sync._state.removeUnfinished();
    const QVariantMap settings = _sync._settings.present();
    VXMetaDataDebt::Owed owed = _sync._debt.beginPass(); // saves from now on, in any process, are owed anew
    owed.isAll = owed.isAll || !_sync._settings.areNoted(settings);
    _sync._mirror.setOwed(std::move(owed));
    _sync._mirror.setChecksGenerations(!_sync._settings.isGenerationNoted());
    const bool isAllDone = work();
    const bool isAlone = !isTurnLost();
    const bool isDone = isAllDone && isAlone && _sync._settings.note(settings);
    if (isDone) { // else the next one has all of it to do
        _sync._debt.markLater(_undescribed);
        _sync._state.noteStores(*_sync._persistentStoreCoordinator);
    }
    _sync._debt.endPass(isDone);
    if (!isAlone) { // another process may have written newer values that this pass then replaced
        log(VXLogNotice, "%1: somebody removed the lock, and all files are made anew"_L1.arg(_sync._identifier));
        _sync._debt.markAll();
        _sync.setNeedsUpdate(true);
    }
    _sync._isMade = isDone;
    if (isDone)
        _sync.settleIndex();
    _turn.reset(); // before calls to the main thread, which may itself be waiting for the lock
    trace(std::chrono::steady_clock::now() - start);
    return isDone ? Outcome::Done : Outcome::Failed;
}

void VXMetaDataSync::Pass::trashFormerFolder() const
{
    VXFileManager &files = VXFileManager::defaultManager();
    const QString former = files.pathToUserVNXApplicationSupportFolder() + "/MetaData"_L1;
    if (VXFileManager::itemExistsAtPath(former))
        static_cast<void>(files.safelyTrashFileAtPath(former));
}

bool VXMetaDataSync::Pass::prepareFolder()
{
    const VXError error = _sync._mirror.folder().open();
    if (error) {
        const QByteArray details = VXPropertyList::toData(error.userInfo(), VXPropertyList::Format::XML);
        log(VXLogError, "%1: Unable to create metadata folder at %2: %3 %4"_L1.arg(
                            _sync._identifier, _sync._mirror.folder().path(), error.localizedDescription(),
                            QString::fromUtf8(details)));
    }
    return !error;
}

bool VXMetaDataSync::Pass::takeTurn(std::chrono::milliseconds time)
{
    auto turn = std::make_unique<VXFileLock>(_sync._mirror.folder().lockPath(), time);
    const bool isDecided = turn->isHeld() || !turn->isTimedOut();
    if (turn->isHeld())
        _turn = std::move(turn);
    else if (isDecided)
        log(VXLogError, turn->reason());
    _isRefused = isDecided && !_turn;
    if (_turn && isTurnLost()) // lost before it was taken; the folder may be gone as well
        _turn.reset();
    return _turn || _isRefused;
}

bool VXMetaDataSync::Pass::isTurnLost() const
{
    struct stat own = {}, present = {};
    return ::fstat(_turn->file().number(), &own) != 0 ||
           ::lstat(QFile::encodeName(_sync._mirror.folder().lockPath()).constData(), &present) != 0 ||
           std::tuple(own.st_dev, own.st_ino) != std::tuple(present.st_dev, present.st_ino);
}

// False when the turn will not come.
bool VXMetaDataSync::Pass::waitForTurn(Wait longestWait)
{
    const auto end = std::chrono::steady_clock::now() + longestWait.value_or(0ms);
    const auto left = [&] {
        const auto time = std::chrono::ceil<std::chrono::milliseconds>(end - std::chrono::steady_clock::now());
        return longestWait ? std::clamp(time, 0ms, turnPoll) : turnPoll;
    };
    if (longestWait && takeTurn(0ms))
        return _turn != nullptr;
    std::optional<VXFileLock> waiting;
    if (longestWait)
        waiting.emplace(_sync._mirror.folder().waitingPath(), turnPoll, VXFileLock::Mode::Shared);
    for (int polls = 0; _sync.isRunning();) {
        const bool isToWait = isUserWaiting(turnPoll);
        if ((!isToWait && takeTurn(left())) || left() == 0ms)
            break;
        if (isToWait && ++polls >= mostPolls)
            _givesWay = false; // who waits so long has been stopped, as by Ctrl+Z
    }
    return _turn != nullptr;
}

bool VXMetaDataSync::Pass::isUserWaiting(std::chrono::milliseconds time) const
{
    const QString path = _sync._mirror.folder().waitingPath();
    return _givesWay && VXExistsAtPath(path) && VXFileLock(path, time).isTimedOut();
}

bool VXMetaDataSync::Pass::isToGiveWay()
{
    if (!_givesWay || !_sync._mirror.indexer().wasComplete() || --_untilLook >= 0)
        return false;
    _untilLook = betweenLooks;
    return isUserWaiting(0ms);
}

template <class Work>
bool VXMetaDataSync::Pass::withFile(const Work &work)
{
    _sync.beginFile();
    const auto end = qScopeGuard([this] { _sync.endFile(); });
    try {
        work();
        return true;
    } catch (...) {
        log(VXLogError, "%1: caught exception "_L1.arg(_sync._identifier) + VXDescribeThrown().description);
        return false;
    }
}

bool VXMetaDataSync::Pass::work()
{
    const VXMetaDataMirror::Use use(_sync._mirror);
    const VXEntityDescription *const entity =
        _sync._persistentStoreCoordinator->model().entityForName(_sync._entityName);
    if (entity == nullptr) {
        log(VXLogError, "%1: there is no entity %2"_L1.arg(_sync._identifier, _sync._entityName));
        static_cast<void>(_sync._mirror.indexer().settle(0));
        return true; // and there never will be any objects
    }
    _names.emplace(*entity);
    qint64 fileCount = 0;
    if (!makeWayForStore() || !synchronizeObjects(*entity) || !removeOrphans(&fileCount))
        return false;
    // The files that were removed, or are of an earlier program, have to be written again.
    if (!_sync._mirror.indexer().settle(fileCount) || _sync._mirror.indexer().foundOutdated())
        _sync.setNeedsUpdate(true);
    return _sync._mirror.isWhole();
}

bool VXMetaDataSync::Pass::isOfThisStore() const
{
    const QByteArray origin = _sync._mirror.folder().origin();
    return origin.isEmpty() || origin == VXMarkOfStores(*_sync._persistentStoreCoordinator);
}

bool VXMetaDataSync::Pass::makeWayForStore()
{
    VXMetaDataFolder &folder = _sync._mirror.folder();
    if (!isOfThisStore()) {
        log(VXLogNotice, "%1: the files tell of another store, and are made anew"_L1.arg(_sync._identifier));
        folder.forEachEntry([&](const char *name) {
            if (_sync.isRunning())
                static_cast<void>(withFile([&] { _sync._mirror.removeOrphan(folder.readableName(name)); }));
        });
    }
    if (!_sync.isRunning())
        return false;
    if (!_sync._mirror.isWhole()) // some of the files are still there
        return false;
    if (!folder.setOrigin(VXMarkOfStores(*_sync._persistentStoreCoordinator)))
        log(VXLogError, "%1: which store the files tell of cannot be noted"_L1.arg(_sync._identifier));
    return true;
}

bool VXMetaDataSync::Pass::synchronizeObjects(const VXEntityDescription &entity)
{
    VXError error;
    const VXMetaDataWalk walk(_context, entity, _sync._relationships);
    _activity->setDoubleValue(0);
    _activity->setMaxValue(double(walk.count(&error).value_or(0)));
    const auto visit = [this](const VXManagedObjectPtr &object) {
        if (isToStop())
            return false;
        synchronizeOne(object);
        return wasAllRead(*object);
    };
    const auto passesOver = [this](const VXMetaDataWalk::Page &page) { return passOver(page); };
    const bool isRead = walk.forEachUnless(_sync._modificationDateKey, passesOver, visit, &error);
    if (!isRead && _sync.isRunning()) // otherwise the store may be closed already
        log(VXLogError, error.description());
    return isRead && !_isBrokenOff;
}

// Else a file may tell half of it, and what cannot be read may seem to be gone.
bool VXMetaDataSync::Pass::wasAllRead(const VXManagedObject &last)
{
    if (!_context.failedRead())
        return true;
    log(VXLogError, "%1: "_L1.arg(_sync._identifier) + _context.failedRead().description());
    _sync._debt.markPass({last.objectID().number()});
    _isBrokenOff = true;
    return false;
}

bool VXMetaDataSync::Pass::isToStop()
{
    if (_sync._mirror.isFolderGone() || isToGiveWay())
        _sync.setNeedsUpdate(true);
    // the next pass knows what is new, and which files have no object
    _isBrokenOff = _sync.isRunning() && _sync.needsUpdate();
    return _isBrokenOff || !_sync.isRunning();
}

bool VXMetaDataSync::Pass::passOver(const VXMetaDataWalk::Page &page)
{
    const bool areCurrent = std::ranges::all_of(page, [this](const VXAttributeNumber &each) {
        const VXManagedObjectID &objectID = each.objectID;
        return !isToStop() && _sync._mirror.isCurrent(objectID.number(), _names->nameOf(objectID), each.number);
    });
    if (!areCurrent)
        return false;
    for (const VXAttributeNumber &each : page)
        _numbers.insert(each.objectID.number());
    _sync._mirror.countUnchanged(page.size());
    _activity->setDoubleValue(_activity->doubleValue() + double(page.size()));
    return true;
}

void VXMetaDataSync::Pass::synchronizeOne(const VXManagedObjectPtr &object)
{
    const VXManagedObjectID &objectID = object->objectID();
    _activity->increment();
    bool isThere = true; // also for an object whose class throws
    if (!withFile([&] { isThere = synchronize(object, QFile::decodeName(_names->nameOf(objectID))); }))
        _undescribed.append(objectID.number());
    if (isThere)
        _numbers.insert(objectID.number());
}

bool VXMetaDataSync::Pass::synchronize(const VXManagedObjectPtr &object, const QString &name)
{
    if (object->isFault())
        static_cast<void>(object->valueForKey(_sync._modificationDateKey)); // fires the fault
    const bool isThere = !object->isFault();
    if (isThere)
        static_cast<void>(_sync._mirror.synchronizeFile(name, *object));
    return isThere;
}

bool VXMetaDataSync::Pass::removeOrphans(qint64 *fileCount)
{
    const auto visit = [&](const char *name) {
        if (!_sync.isRunning())
            return;
        const std::optional<qint64> number = _names->numberIn(name);
        if (number && _numbers.contains(*number)) {
            ++*fileCount;
            return;
        }
        _activity->increment();
        static_cast<void>(withFile([&] { _sync._mirror.removeOrphan(_sync._mirror.folder().readableName(name)); }));
    };
    const bool isListed = _sync._mirror.folder().forEachEntry(visit, true);
    if (!isListed)
        log(VXLogError, "The folder cannot be listed: "_L1 + _sync._mirror.folder().path());
    return isListed && _sync.isRunning();
}

bool VXMetaDataSync::Pass::runFor(const SavedObjects &saved)
{
    if (!prepareFolder() || !takeTurn(0ms) || !_turn)
        return false;
    const bool isReplaced = !isOfThisStore() || _sync._state.isReplaced(); // a pass is due for the rest
    if (isReplaced) // of which only the note is left once the mirror is closed, which notes it as being in place
        _sync.noteReplacement();
    const VXMetaDataMirror::Use use(_sync._mirror);
    bool isAll = saved.isAll && !isReplaced;
    for (const VXManagedObjectID &objectID : saved.present) {
        const VXManagedObjectPtr object = _context.existingObjectWithID(objectID);
        if (!_sync.isRunning())
            return false;
        if (!object)
            continue; // deleted since, which is noted as well
        isAll = withFile([&] { _sync._mirror.writeAhead(*object); }) && isAll;
        _context.refreshObject(object, false);
    }
    for (const VXManagedObjectID &objectID : saved.deleted) {
        if (saved.present.contains(objectID) && _context.existingObjectWithID(objectID))
            continue; // written again since
        if (_context.failedRead())
            break; // it may be there
        isAll = withFile([&] { _sync._mirror.removeAhead(objectID); }) && isAll;
    }
    const bool isDone = isAll && !_context.failedRead() && _sync._mirror.isWhole() && !isTurnLost();
    if (isDone && _sync._state.isNoted()) // the mirror now tells of what is still in the store's log
        _sync._state.noteStores(*_sync._persistentStoreCoordinator);
    return isDone;
}

void VXMetaDataSync::Pass::trace(std::chrono::duration<double> duration) const
{
    const VXDebugCategory &category = VXDebugCategory::META();
    if (!category.isEnabled())
        return;
    const VXMetaDataCounts counts = _sync.counts();
    const auto text = QString::asprintf(" +(%d) ~(%d) -(%d) (%d) !(%d) %.3fsec", counts.added, counts.updated,
                                        counts.orphaned, counts.unchanged, counts.errors, duration.count());
    VXTraceFrom(VXInstanceOrigin(&_sync, "synchronizeMetaDataFiles"), category, _sync._entityName + text);
}
