#include "VXSearchUpdate.h"

#include "VXHostCommand.h"
#include "VXHostOutput.h"
#include "VXMetaDataKeeper.h"
#include "VXMetaDataSync.h"
#include "VXSearchIndex.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QProcess>

using namespace Qt::StringLiterals;

namespace {

constexpr int mostRounds = 3;

bool isTriedHere = false; // by this process; what it could not do another one like it cannot

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
    if (VXMetaDataDebt::isAnyOfAll())
        return true;
    const std::unique_ptr<VXSearchIndex> index = VXSearchIndex::openExisting();
    return !index || !index->isAllComplete(nullptr);
}

bool VXUpdateSearch(VXHostContext &context, std::optional<std::chrono::milliseconds> longestWait)
{
    using Outcome = VXMetaDataSync::Outcome;
    isTriedHere = true;
    const QList<VXMetaDataSync::Ptr> syncs = VXMetaDataSync::launchedSyncs();
    if (syncs.isEmpty()) {
        context.output.fail(u"nothing is searched: no data plugin is loaded that wants it, or the user default "
                            "\"metadata.ignore\" is true"_s);
        return false;
    }
    bool isDone = true;
    for (const VXMetaDataSync::Ptr &sync : syncs) {
        Outcome outcome = Outcome::Done;
        for (int round = 0; round < mostRounds && sync->needsUpdate() && outcome != Outcome::Elsewhere; ++round) {
            sync->setNeedsUpdate(false); // unless it finds a reason for one more
            outcome = sync->synchronizeMetaDataFiles(longestWait);
        }
        if (outcome == Outcome::Elsewhere)
            context.output.note(u"%1: another process is taking in what was saved; some may not be found yet"_s.arg(
                sync->entityName()));
        else if (outcome == Outcome::Failed)
            context.output.note(u"%1: not all could be taken in; \"vornix log\" tells why"_s.arg(sync->entityName()));
        isDone = isDone && outcome == Outcome::Done;
    }
    return isDone;
}
