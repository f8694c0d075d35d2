#include "VXSearchUpdate.h"

#include "VXDataManager.h"
#include "VXFileLock.h"
#include "VXFileManager.h"
#include "VXHostCommand.h"
#include "VXHostOutput.h"
#include "VXMetaDataFolder.h"
#include "VXMetaDataKeeper.h"
#include "VXMetaDataOrigin.h"
#include "VXMetaDataRemoval.h"
#include "VXMetaDataSync.h"
#include "VXSearchIndex.h"
#include "VXUnsearchedMirrors.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QDir>
#include <QtCore/QHash>
#include <QtCore/QProcess>

#include <algorithm>
#include <utility>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

constexpr int mostRounds = 3;

// By another; taken for a moment to see that.
bool isLocked(const QString &path)
{
    return VXExistsAtPath(path) && VXFileLock(path, 0ms).isTimedOut();
}

bool isTriedHere = false; // by this process; if it failed, another one like it would fail too

// A store waits for its plugin to replace the one that is searched.
bool isStoreWaiting()
{
    const QDir waiting(VXDataManager::sharedDataInstallPath());
    const QDir present(VXDataManager::sharedDataFolderPath());
    const QStringList names = waiting.entryList({u"*.vxdatastore"_s}, QDir::Dirs | QDir::NoDotAndDotDot);
    return std::ranges::any_of(names, [&present](const QString &name) { return present.exists(name); });
}

} // namespace

void VXStartSearchUpdateIfDue()
{
    if (isTriedHere || !VXMetaDataDebt::isOwnOfAll() || VXMetaDataKeeper::isElsewhere())
        return;
    VXStartSearchUpdate();
}

// Noted before the save and again after it: a pass may have run in between and seen the objects in their old state.
VXSavesLeftToSearch::VXSavesLeftToSearch(const QString &folder)
{
    for (const VXNotificationName &name :
         {VXManagedObjectContextWillSaveNotification, VXManagedObjectContextDidSaveNotification}) {
        const auto note = [identifiers = VXSyncsOfStoresIn(folder)](const VXNotification &) {
            for (const QString &identifier : identifiers) {
                if (const VXMetaDataDebt debt(identifier); !VXMetaDataSync::isIgnored() && !debt.isMarked())
                    debt.markAll();
            }
        };
        _observers.append(VXNotificationCenter::defaultCenter().addObserver(nullptr, name, note));
    }
}

VXSavesLeftToSearch::~VXSavesLeftToSearch()
{
    for (const VXNotificationCenter::ObserverID observer : std::as_const(_observers))
        VXNotificationCenter::defaultCenter().removeObserver(observer);
    VXStartSearchUpdateIfDue();
}

void VXStartBeside(const QStringList &arguments)
{
    QProcess process;
    process.setProgram(QCoreApplication::applicationFilePath());
    process.setArguments(arguments);
    process.setStandardInputFile(QProcess::nullDevice());
    process.setStandardOutputFile(QProcess::nullDevice());
    process.setStandardErrorFile(QProcess::nullDevice());
    process.startDetached();
}

void VXStartSearchUpdate()
{
    VXStartBeside(
        {u"search"_s, u"update"_s, u"--background"_s}); // otherwise the next search, or a permanent process, does it
}

QString VXSearchUpdateLockPath()
{
    return VXFileManager::defaultManager().pathToUserMetadataFolder() + "/.updating.lock"_L1;
}

bool VXIsSearchBeingUpdated()
{
    return isLocked(VXSearchUpdateLockPath());
}

bool VXIsSearchUpdateDue()
{
    if (VXMetaDataSync::isIgnored())
        return false;
    if (isStoreWaiting())
        return true;
    const std::unique_ptr<VXSearchIndex> index = VXSearchIndex::openExisting();
    return !index || !VXMetaDataSync::isAllTakenIn(*index);
}

namespace {

void noteElsewhere(VXHostContext &context, const VXMetaDataSync &sync)
{
    context.output.note(
        u"%1: another process is taking in what was saved; some may not be found yet"_s.arg(sync.entityName()));
}

// All files may exist although the index is incomplete, for example if the disk is full.
bool isIndexWhole(VXHostContext &context)
{
    VXError error;
    const std::unique_ptr<VXSearchIndex> index = VXSearchIndex::openExisting(&error);
    const auto isOwed = [](const VXMetaDataSync::Ptr &sync) {
        // Its contents may be from the last time it could be written.
        return VXMetaDataDebt(sync->identifier()).isIndexOwed();
    };
    const QList<VXMetaDataSync::Ptr> syncs = VXMetaDataSync::launchedSyncs();
    if (index && index->isAllComplete(&error) && std::ranges::none_of(syncs, isOwed))
        return true;
    const bool isTold = std::ranges::any_of(syncs, [&context](const VXMetaDataSync::Ptr &sync) {
        const bool isElsewhere = isLocked(VXMetaDataFolder(sync->identifier()).lockPath()); // since this process looked
        if (isElsewhere)
            noteElsewhere(context, *sync);
        return isElsewhere;
    });
    if (!isTold)
        context.output.note(u"the index could not be made whole; \"vornix log\" tells why"_s);
    return false;
}

} // namespace

void VXRemoveUnsearched()
{
    for (const QString &identifier : VXUnsearchedMirrors())
        static_cast<void>(VXMetaDataRemoval::remove(identifier));
}

bool VXFailIfNothingIsSearched(VXHostContext &context)
{
    if (!VXMetaDataSync::isIgnored())
        return false;
    for (const QString &identifier : VXMetaDataRemoval::identifiers())
        static_cast<void>(VXMetaDataRemoval::remove(identifier));
    context.output.fail(u"nothing is searched: the user default \"metadata.ignore\" is true"_s);
    return true;
}

namespace {

using Outcome = VXMetaDataSync::Outcome;

using Clock = std::chrono::steady_clock;

// Makes each pass that is due. True if there was one. `deadline` limits all waiting for others together.
bool makePasses(const QList<VXMetaDataSync::Ptr> &syncs, std::optional<Clock::time_point> deadline,
                QHash<QString, Outcome> *outcomes)
{
    const auto timeLeft = [&deadline]() -> std::optional<std::chrono::milliseconds> {
        if (!deadline)
            return std::nullopt;
        return std::max(0ms, std::chrono::ceil<std::chrono::milliseconds>(*deadline - Clock::now()));
    };
    bool isAny = false;
    for (const VXMetaDataSync::Ptr &sync : syncs) {
        Outcome &outcome = (*outcomes)[sync->identifier()];
        if (outcome == Outcome::Elsewhere || !(sync->needsUpdate() || sync->isMirrorGone()))
            continue;
        isAny = true;
        sync->setNeedsUpdate(false); // unless it finds a reason for another
        outcome = sync->synchronizeMetaDataFiles(timeLeft());
    }
    return isAny;
}

} // namespace

bool VXUpdateSearch(VXHostContext &context, std::optional<std::chrono::milliseconds> longestWait)
{
    isTriedHere = true;
    const QList<VXMetaDataSync::Ptr> syncs = VXMetaDataSync::launchedSyncs();
    if (syncs.isEmpty()) {
        context.output.fail(u"nothing is searched: no data plugin is loaded that wants it"_s);
        return false;
    }
    VXRemoveUnsearched();
    QHash<QString, Outcome> outcomes;
    const auto deadline = longestWait ? std::optional(Clock::now() + *longestWait) : std::nullopt;
    for (int round = 0; round < mostRounds && makePasses(syncs, deadline, &outcomes); ++round) {
    }
    bool isDone = true;
    for (const VXMetaDataSync::Ptr &sync : syncs) {
        const Outcome outcome = outcomes.value(sync->identifier(), Outcome::Done);
        if (outcome == Outcome::Elsewhere)
            noteElsewhere(context, *sync);
        else if (outcome == Outcome::Failed)
            context.output.note(u"%1: not all could be taken in; \"vornix log\" tells why"_s.arg(sync->entityName()));
        isDone = isDone && outcome == Outcome::Done;
    }
    return isDone && isIndexWhole(context);
}
