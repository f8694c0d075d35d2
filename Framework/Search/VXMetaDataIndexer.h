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
 * Carries the changes of one metadata folder into the search index, a few thousand at once: on a thread of its own while there
 * are more to come. A worker that is killed leaves the folder marked, and the next pass puts all its files in again. Without an
 * index, which is logged, it does nothing. One thread at a time.
 */
class VXMetaDataIndexer
{
public:
    VXMetaDataIndexer(const QString &identifier, const VXMetaDataFolder &folder)
        : _identifier(identifier), _folder(folder)
    {
    }

    void open();
    /** Before a file is changed. */
    void willChange();
    void didWrite(const QString &name, const QVariantMap &values) { note({name, values}); }
    void didRemove(const QString &name) { note({name, std::nullopt}); }
    /** At the end of a look at all files of the folder, which has so many: puts all in where the index tells another story.
     *  Files that cannot be read are removed. False when there were some. */
    bool settle(qint64 fileCount);
    /** Whether they were when it was opened, as the index says, if it is the one that was left. */
    bool wasComplete() const { return _wasComplete; }
    /** Whether all files are in the index, if so many are in the folder. */
    bool isInStep(qint64 fileCount);
    /** Whether it says that of a file, if it is to be whole; isSound() knows of what differs. */
    void compare(const QString &name, const QVariantMap &values);
    /** Reads all of the index. One that says other words than its entries have is thrown away, so that settle() makes it anew.
     *  False, with an error, too, when that cannot be seen. */
    bool isSound(VXError *hindrance);
    void close();
    /** Whether the index that had all files when it was last closed lies there still. */
    bool isStillThere() const { return _left == VXSearchIndex::presentFileMark(); }

private:
    void note(const VXSearchIndex::Change &change);
    void flush();
    /** What was noted, on another thread than this. */
    void carryBeside();
    /** Until that is done. */
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
    bool _isCarried = true; // this and what follows: the carrier's while there is one
    VXError _problem;
    bool _wasComplete = false;
    bool _wasEmpty = false; // of this folder's
    bool _isOther = false;  // than what was compared
    bool _isMarked = false;
    bool _isOfMany = false;                       // changes
    std::optional<VXSearchIndex::FileMark> _left; // with all files
};
