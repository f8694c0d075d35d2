#pragma once

#include "VXFrameworkExport.h"
#include "VXPersistentStoreCoordinator.h"

#include <QtCore/QByteArray>
#include <QtCore/QByteArrayList>
#include <QtCore/QString>

class VXSearchIndex;

/**
 * How a sync left all that its mirror stands on: the index, by a stamp that each change of its folder replaces, the data files of the
 * stores, by size and date, and the file where this is kept, by its number. Copies of an earlier day, put back from a backup, say
 * something else. In a file beside the folder. Any thread.
 */
class VX_EXPORT VXMetaDataState
{
public:
    /** Of the sync of that identifier. */
    explicit VXMetaDataState(const QString &identifier);

    /** Whether this is a copy, or a data file was written by others since: nobody knows which files of the mirror are true. True, too,
     *  where what a pass noted is lost. False before the first pass, and while a data file has a log, as long as somebody works on the store. */
    bool isReplaced() const;
    /** Whether a pass has noted anything yet. */
    bool isNoted() const { return !lines().isEmpty(); }
    /** Null where none was noted. */
    QByteArray indexStamp() const;
    bool isIndexAsLeft(VXSearchIndex &index) const;

    /** That index and stores are as the mirror tells of them. Nothing is written where nothing changed. */
    void noteIndex(const QByteArray &stamp) const;
    void noteStores(const VXPersistentStoreCoordinator &coordinator) const;
    /** Those that this process had open, and looked at when it opened them, are noted once more when it has closed them: with the
     *  last the log goes into the data file. */
    void noteStoresWhenClosed() const;
    static void noteClosedStores();
    void forget() const;
    /** Removes what killed processes left half written beside it; for the holder of the folder's lock, as all who write it are. */
    void removeUnfinished() const;

    /** Of all syncs that have mirrored a store: nothing was replaced. */
    static bool areAllAsLeft(VXSearchIndex &index);

private:
    QByteArrayList lines() const;
    void replaceLines(const QByteArray &kind, const QByteArrayList &lines) const;

    const QString _identifier;
    const QString _path;
};
