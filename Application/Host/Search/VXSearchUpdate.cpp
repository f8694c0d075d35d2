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

}

void VXStartSearchUpdateIfDue()
{
    if (!VXMetaDataDebt::isOwnOfAll() || VXMetaDataKeeper::isElsewhere())
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

bool VXUpdateSearch(VXHostContext &context)
{
    const QList<VXMetaDataSync::Ptr> syncs = VXMetaDataSync::launchedSyncs();
    for (const VXMetaDataSync::Ptr &sync : syncs) {
        for (int round = 0; round < mostRounds && sync->needsUpdate(); ++round) {
            sync->setNeedsUpdate(false); // unless it finds a reason for one more
            sync->synchronizeMetaDataFiles();
        }
    }
    if (syncs.isEmpty())
        context.output.fail(u"nothing is searched: no data plugin is loaded that wants it, or the user default "
                            "\"metadata.ignore\" is true"_s);
    return !syncs.isEmpty();
}
