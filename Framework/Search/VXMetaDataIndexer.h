#pragma once

#include "VXMetaDataDebt.h"
#include "VXMetaDataFolder.h"
#include "VXMetaDataState.h"
#include "VXSearchIndex.h"

#include <QtCore/QList>
#include <QtCore/QString>

#include <memory>
#include <optional>
#include <thread>

/**
 * Applies the changes of one metadata folder to the search index in batches of a few thousand, on a thread of its own
 * while more are to come. A killed process leaves the folder marked, and the next pass enters all its files again. If
 * the index cannot be opened, that is logged, and all calls do nothing. One thread at a time.
 */
class VXMetaDataIndexer
{
public:
    VXMetaDataIndexer(const QString &identifier, const VXMetaDataFolder &folder)
        : _identifier(identifier), _folder(folder)
    {
    }

    void open();
    /** To be called before a file is changed. */
    void willChange();
    void didWrite(const QString &name, const QVariantMap &values) { note({name, values}); }
    void didRemove(const QString &name) { note({name, std::nullopt}); }
    /** To be called after all files of the folder were looked at; `fileCount` is their number. If the index does not
     *  agree, enters all files again. Files that cannot be read are removed; false when there were some. Those of an earlier program,
     *  which made an index of its own, are owed: foundOutdated(). */
    bool settle(qint64 fileCount);
    bool foundOutdated() const { return _foundOutdated; }
    /** Whether they were when it was opened, as the index says, if it is the one that was left. */
    bool wasComplete() const { return _wasComplete; }
    /** Whether all files are in the index, given how many are in the folder. */
    bool isInStep(qint64 fileCount);
    /** Compares the index's entry for a file with these values, if the index should be complete; isSound() takes
     *  differences into account. */
    void compare(const QString &name, const QVariantMap &values);
    /** Reads the whole index. If its words are not those of its entries, it is discarded, so that settle() makes it
     *  anew. False then; and, with an error, when this cannot be determined. */
    bool isSound(VXError *hindrance);
    void close();
    /** Whether the index file is still the one that had all files when it was last closed. */
    bool isStillThere() const { return _left == VXSearchIndex::presentFileMark(); }

private:
    void note(const VXSearchIndex::Change &change);
    void flush();
    /** Applies the noted changes on another thread. */
    void carryBeside();
    /** Waits until that thread is done. */
    void awaitCarrier();
    bool putAllIn();
    void giveUp(const VXError &error);

    const QString _identifier;
    const VXMetaDataFolder &_folder;
    const VXMetaDataDebt _debt{_identifier};
    const VXMetaDataState _state{_identifier};
    std::unique_ptr<VXSearchIndex> _index; // while it is open and works; the carrier's while there is one
    QList<VXSearchIndex::Change> _changes; // not carried over yet
    std::thread _carrier;
    bool _isCarried = true; // this and _problem: owned by the carrier thread while it runs
    VXError _problem;
    bool _wasComplete = false;
    bool _wasEmpty = false; // of entries for this folder
    bool _isOther = false;  // compare() found a difference
    bool _foundOutdated = false;
    bool _isMarked = false;
    bool _isOfMany = false;                       // more than one batch was applied
    std::optional<VXSearchIndex::FileMark> _left; // the index as last closed, if it had all files
};
