#pragma once

#include "VXError.h"
#include "VXFrameworkExport.h"

#include <QtCore/QDateTime>
#include <QtCore/QList>
#include <QtCore/QString>

/**
 * Remembers where former stores went: those that were replaced, and the copies made before merges, be it to the trash
 * or to where the user wanted a backup. The last ten are listed in the file ".NAME.vxdatastore.past" beside the store's
 * place. The list only helps to find them: it keeps none from being deleted, and whatever later has the path of a
 * deleted one is not taken for it. A symbolic link keeps its target wherever it is moved.
 *
 * A store that took the place of another, and is upgraded before it was ever in use, is no step of its own: it is
 * listed after the store it replaced, and so is the old store of an upgrade that was not settled then; so the first
 * entry is what the user had. When the list is full, stores that were taken back are dropped first, so that going back
 * and forth drops nothing else. A folder that is noted again, for example when it goes on to the trash, is listed once.
 * Processes change the list one after the other. Main thread only.
 */
class VX_EXPORT VXStorePast
{
public:
    struct Entry
    {
        QString path;
        QDateTime date;
        QString reason; // "upgraded", "replaced", "merged", "mended" or "removed"
    };

    /** Moves the folder at `path`, which is or was the store, to the trash. It is listed before that, so that it is
     *  found again even if the process is killed. Failures to list it are logged. */
    static VXError trash(const QString &storePath, const QString &path, const QString &reason,
                         QString *trashedPath = nullptr);
    /** The same; but if the trash does not take it, it stays beside the store as "NAME.vxdatastore.REASON". */
    static VXError keep(const QString &storePath, const QString &path, const QString &reason, QString *place = nullptr);
    /** The same for the store itself, which the one at `successor` is to replace; `upgradingPath` is where the old
     *  store of an upgrade is, if any. Moves only to the trash, unless `isKeptBeside`. */
    static VXError moveReplaced(const QString &storePath, const QString &successor, const QString &upgradingPath,
                                bool isKeptBeside);
    /** The path with a suffix, and with a number if that is taken. */
    static QString freePlaceBeside(const QString &path, const QString &suffix);
    /** Notes that the store is used as it is: a later upgrade of it is a step of its own. */
    static void noteUse(const QString &storePath);
    /** Whether the store took another's place and was not used since: its upgrade may fail at each start. */
    static bool isUnused(const QString &storePath);
    /** Notes that `copy`, a copy of the store at `keptPath`, is about to take the store's place; a null path: that it
     *  does not. Without effect if the one at `keptPath` is not listed. */
    static void noteTakenBack(const QString &storePath, const QString &keptPath, const QString &copy);
    /** Whether the store is such a copy: then the user wanted it, and the one it replaced is no remedy. */
    static bool isTakenBack(const QString &storePath);
    /** Removes a listed folder that is of no use. */
    static void discard(const QString &storePath, const QString &keptPath);
    /** Moves the folder to another place, which is free, and lists it afterwards. */
    static VXError move(const QString &storePath, const QString &path, const QString &place, const QString &reason);
    /** Lists the folder. Failures are logged. */
    static void note(const QString &storePath, const QString &keptPath, const QString &reason);
    /** The former stores that still exist, the latest first, including the old store of an upgrade that is not settled,
     *  if one is at `upgradingPath`. */
    static QList<Entry> entries(const QString &storePath, const QString &upgradingPath = {});
    /** The path of the list's file. */
    static QString fileForStorePath(const QString &storePath);

    VXStorePast() = delete;
};
