#pragma once

#include "VXError.h"
#include "VXFrameworkExport.h"

#include <QtCore/QDateTime>
#include <QtCore/QList>
#include <QtCore/QString>

/**
 * Remembers where the stores went that others took the place of, and what stores were before another was merged into them: to
 * the trash, or to where the user wanted a backup. A list of the last ten in the file ".NAME.vxdatastore.past" beside the store's place. It only helps to find them: none is kept for it,
 * and what has come to lie in the place of one that is gone is not taken for it. A link leads where it led, wherever it goes.
 * What took the store's place and is upgraded before it was ever in use is no step of its own: it is listed behind what it
 * replaced, as is the old store of an upgrade that was not settled then, so that the first is what the user had.
 * What was taken back leaves the list before all others: who goes to and fro pushes nothing else out of it.
 * A folder that is noted again, as when it goes on to the trash, is listed once. Processes change the list one after the other.
 * Main thread only.
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

    /** Puts the folder at `path`, which is or was the store, into the trash, and notes that before: it is found again whenever
     * the process is ended. Failures to note it are logged. */
    static VXError trash(const QString &storePath, const QString &path, const QString &reason,
                         QString *trashedPath = nullptr);
    /** The same, or beside the store, as "NAME.vxdatastore.REASON", where the trash does not take it. */
    static VXError keep(const QString &storePath, const QString &path, const QString &reason, QString *place = nullptr);
    /** The same of the store itself, which that at `successor` is to replace; `upgradingPath` is where the old store of an
     * upgrade lies, if any. Only into the trash, unless `isKeptBeside`. */
    static VXError moveReplaced(const QString &storePath, const QString &successor, const QString &upgradingPath,
                                bool isKeptBeside);
    /** That path with a suffix, and a number where that is taken. */
    static QString freePlaceBeside(const QString &path, const QString &suffix);
    /** The store is opened as it is: an upgrade of it later is a step of its own. */
    static void noteUse(const QString &storePath);
    /** Whether the store took another's place and was not in use since: its upgrade may fail at each start. */
    static bool isUnused(const QString &storePath);
    /** Whether the store is, or is about to be, a copy of the one at `keptPath`; of no effect where that is not listed. */
    static void noteTakenBack(const QString &storePath, const QString &keptPath, bool isTakenBack);
    /** Removes a folder that is listed, and is of no use. */
    static void discard(const QString &storePath, const QString &keptPath);
    /** The same to another place, which is free; noted once it is there. */
    static VXError move(const QString &storePath, const QString &path, const QString &place, const QString &reason);
    /** Failures are logged. */
    static void note(const QString &storePath, const QString &keptPath, const QString &reason);
    /** Those that are still there, the last one first; with the old store of an upgrade that is not settled, if one lies at
     * `upgradingPath`. */
    static QList<Entry> entries(const QString &storePath, const QString &upgradingPath = {});
    /** The file of the list. */
    static QString fileForStorePath(const QString &storePath);

    VXStorePast() = delete;
};
