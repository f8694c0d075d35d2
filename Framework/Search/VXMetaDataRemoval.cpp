#include "VXMetaDataRemoval.h"

#include "VXFileLock.h"
#include "VXFileManager.h"
#include "VXMetaDataDebt.h"
#include "VXMetaDataFolder.h"
#include "VXMetaDataOrigin.h"
#include "VXMetaDataSettings.h"
#include "VXMetaDataSource.h"
#include "VXMetaDataState.h"
#include "VXMethodLog.h"
#include "VXSearchIndex.h"

#include <QtCore/QDir>
#include <QtCore/QFile>

#include <algorithm>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

constexpr std::chrono::milliseconds longestTurn = 2s; // to wait for a process that works on the folder

// Other identifiers lead out of the folder, or name hidden files in it.
bool isOfSync(const QString &identifier)
{
    return std::ranges::none_of(identifier.split(u'/'), [](const QString &part) { return part.startsWith(u'.'); }) &&
           !identifier.isEmpty() && !identifier.startsWith(u'/');
}

bool isAnyOf(const QString &identifier)
{
    const VXMetaDataFolder folder(identifier);
    return VXExistsAtPath(folder.path()) || !folder.origin().isEmpty() || VXMetaDataDebt(identifier).isAny();
}

bool removeFiles(const QString &identifier)
{
    VXMetaDataFolder folder(identifier);
    bool isGone = true;
    if (folder.openExisting()) {
        const auto remove = [&](const char *entry) {
            const QString name = folder.readableName(entry);
            if (VXNumberInMetaDataFilename(name))
                static_cast<void>(folder.remove(name)); // if that fails, removing the folder fails, which is reported
            else
                static_cast<void>(VXFileManager::defaultManager().safelyTrashFileAtPath(folder.pathOf(name)));
        };
        isGone = folder.forEachEntry(remove, true);
    }
    return isGone && (!VXExistsAtPath(folder.path()) || QDir().rmdir(folder.path())) && folder.removeOrigin();
}

} // namespace

// A lock file is no sign of a sync: lock files are kept, as somebody may be waiting for one.
QStringList VXMetaDataRemoval::identifiers()
{
    const QDir all(VXFileManager::defaultManager().pathToUserMetadataFolder());
    QStringList identifiers = VXMetaDataDebt::identifiersOfAll();
    identifiers += VXAllMarksOfStores().keys();
    for (const QString &name : all.entryList(QDir::Dirs | QDir::NoDotAndDotDot | QDir::NoSymLinks)) {
        if (all.exists(name + ".lock"_L1))
            identifiers.append(name);
    }
    if (const std::unique_ptr<VXSearchIndex> index = VXSearchIndex::openExisting())
        identifiers += index->folders(nullptr);
    identifiers.removeDuplicates();
    return identifiers;
}

bool VXMetaDataRemoval::remove(const QString &identifier)
{
    if (!isOfSync(identifier)) {
        VXLogClassMethod(VXLogWarning, VXMetaDataRemoval, "remove", "this names no sync: "_L1 + identifier);
        VXMetaDataDebt(identifier).forget(); // as nobody would settle it
        return true;
    }
    VXError error;
    const std::unique_ptr<VXSearchIndex> index = VXSearchIndex::openExisting(&error);
    const bool isIndexed = index && index->folders(&error).contains(identifier);
    if (!isIndexed && !isAnyOf(identifier))
        return true;
    const VXFileLock turn(VXMetaDataFolder(identifier).lockPath(), longestTurn);
    bool isGone = turn.isHeld() && removeFiles(identifier);
    if (isGone && isIndexed) {
        isGone = index->forgetFolder(identifier, &error);
        if (isGone && index->folders(&error).isEmpty() && !error)
            VXSearchIndex::discard(); // deleted text may still be readable in the file
        else if (isGone)
            index->giveBackFree();
    }
    if (isGone) {
        VXMetaDataDebt(identifier).forget();
        VXMetaDataSettings(identifier, {}).forget();
        VXMetaDataState(identifier).forget();
    } else {
        VXLogClassMethod(VXLogWarning, VXMetaDataRemoval, "remove",
                         "what was mirrored cannot be removed: %1. %2"_L1.arg(identifier, error ? error.description()
                                                                                                : turn.reason()));
    }
    return isGone;
}
