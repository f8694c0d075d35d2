#include "VXSearchUpdate.h"

#include "VXDataManager.h"
#include "VXHostCommand.h"
#include "VXHostOutput.h"
#include "VXMetaDataKeeper.h"
#include "VXMetaDataRemoval.h"
#include "VXMetaDataSync.h"
#include "VXPluginManager.h"
#include "VXSearchIndex.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QDir>
#include <QtCore/QHash>
#include <QtCore/QProcess>

#include <algorithm>
#include <utility>

using namespace Qt::StringLiterals;

namespace {

constexpr int mostRounds = 3;

bool isTriedHere = false; // by this process; what it could not do another one like it cannot

// For its plugin to put it in place of the one that is searched.
bool isStoreWaiting()
{
    const QDir waiting(VXDataManager::sharedDataInstallPath());
    return !waiting.entryList({u"*.vxdatastore"_s}, QDir::Dirs | QDir::NoDotAndDotDot).isEmpty();
}

} // namespace

void VXStartSearchUpdateIfDue()
{
    if (isTriedHere || !VXMetaDataDebt::isOwnOfAll() || VXMetaDataKeeper::isElsewhere())
        return;
    VXStartSearchUpdate();
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
        {u"search"_s, u"update"_s, u"--background"_s}); // else the next search, or process that stays, does it
}

bool VXIsSearchUpdateDue()
{
    if (VXMetaDataSync::isIgnored())
        return false;
    if (isStoreWaiting() || VXMetaDataDebt::isAnyOfAll() || !VXMetaDataSettings::areAllPresent())
        return true;
    const std::unique_ptr<VXSearchIndex> index = VXSearchIndex::openExisting();
    return !index || !index->isAllComplete(nullptr);
}

namespace {

// The files may all be there without it, as where the disk is full.
bool isIndexWhole(VXHostContext &context)
{
    VXError error;
    const std::unique_ptr<VXSearchIndex> index = VXSearchIndex::openExisting(&error);
    const auto isOwed = [](const VXMetaDataSync::Ptr &sync) {
        return VXMetaDataDebt(sync->identifier()).isIndexOwed(); // it may say what it said when it could be written
    };
    if (index && index->isAllComplete(&error) && std::ranges::none_of(VXMetaDataSync::launchedSyncs(), isOwed))
        return true;
    context.output.note(u"the index could not be made whole; \"vornix log\" tells why"_s);
    return false;
}

} // namespace

// While a plugin is missing that the user wants, nobody knows what is its own.
void VXRemoveUnsearched(const VXPluginManager &manager)
{
    const QList<VXPluginProxy *> plugins = manager.enabledPlugins();
    if (manager.isSafeMode() || !std::ranges::all_of(plugins, &VXPluginProxy::isLoaded))
        return;
    QStringList identifiers = VXMetaDataRemoval::identifiers();
    for (const VXMetaDataSync::Ptr &sync : VXMetaDataSync::launchedSyncs())
        identifiers.removeAll(sync->identifier());
    for (const QString &identifier : std::as_const(identifiers))
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

// Each that is due. True when there was one.
bool makePasses(const QList<VXMetaDataSync::Ptr> &syncs, std::optional<std::chrono::milliseconds> longestWait,
                QHash<QString, Outcome> *outcomes)
{
    bool isAny = false;
    for (const VXMetaDataSync::Ptr &sync : syncs) {
        Outcome &outcome = (*outcomes)[sync->identifier()];
        if (outcome == Outcome::Elsewhere || !(sync->needsUpdate() || sync->isMirrorGone()))
            continue;
        isAny = true;
        sync->setNeedsUpdate(false); // unless it finds a reason for one more
        outcome = sync->synchronizeMetaDataFiles(longestWait);
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
    VXRemoveUnsearched(VXPluginManager::sharedPluginManager());
    QHash<QString, Outcome> outcomes;
    for (int round = 0; round < mostRounds && makePasses(syncs, longestWait, &outcomes); ++round) {
    }
    bool isDone = true;
    for (const VXMetaDataSync::Ptr &sync : syncs) {
        const Outcome outcome = outcomes.value(sync->identifier(), Outcome::Done);
        if (outcome == Outcome::Elsewhere)
            context.output.note(u"%1: another process is taking in what was saved; some may not be found yet"_s.arg(
                sync->entityName()));
        else if (outcome == Outcome::Failed)
            context.output.note(u"%1: not all could be taken in; \"vornix log\" tells why"_s.arg(sync->entityName()));
        isDone = isDone && outcome == Outcome::Done;
    }
    return isDone && isIndexWhole(context);
}
