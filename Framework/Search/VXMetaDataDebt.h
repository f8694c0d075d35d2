#pragma once

#include "VXFrameworkExport.h"

#include <QtCore/QList>
#include <QtCore/QSet>
#include <QtCore/QString>
#include <QtCore/QStringList>

/**
 * What of a store was saved and is not mirrored yet ("owed"), as all processes see it. Each process that owes something
 * has a file with the numbers of the objects that it changed, so a process that ends at once, or is killed, leaves word
 * for the next one. A pass takes these files over into files of its own and removes them when it is done. Any thread;
 * passes only under the folder's lock.
 */
class VX_EXPORT VXMetaDataDebt
{
public:
    /** Objects whose files are to be written whatever their dates say. */
    struct Owed
    {
        QSet<qint64> numbers = {};
        bool isAll = false; // true: which objects is not known, so all of them
        bool contains(qint64 number) const { return isAll || numbers.contains(number); }
    };

    /** For the sync with that identifier. */
    explicit VXMetaDataDebt(const QString &identifier);

    // -- Saves of this process. If a note can be written neither beside the mirror nor beside the stores, the log says
    // so once, until a write succeeds again.
    /** Notes that this process owes the files of these objects, and of new ones. */
    void mark(const QList<qint64> &changed = {}) const;
    /** The same for more objects than can be named. */
    void markAll() const;
    /** Whether this process's note is still there, not yet taken over by a pass. */
    bool isMarked() const;
    /** Removes the note: everything this process owed is done. */
    void settleOwn() const;

    /** Leaves what this process owes to a pass, so that a later settleOwn() does not remove it. */
    void leaveToPass() const;

    // -- Passes
    /** Makes a pass due even if nothing was saved. It writes the files of these objects whatever their dates say. */
    void markPass(const QList<qint64> &numbers = {}) const;
    /** Takes over what all processes owe, and what is left of passes that did not end. */
    Owed beginPass();
    /** Ends the pass: with `isDone` all that it took over is settled, otherwise a pass stays due. */
    void endPass(bool isDone);
    /** Notes these objects for the next pass, whenever it comes, without making one due. */
    void markLater(const QList<qint64> &numbers) const;

    // -- The index. It stays owed until all files were entered into it.
    /** Notes that files were changed without the index being told. */
    void markIndex() const;
    void settleIndex() const;
    bool isIndexOwed() const;

    /** Removes all notes of this sync. */
    void forget() const;

    bool isAny() const;
    /** Identifiers of the syncs for which anything is noted. */
    static QStringList identifiersOfAll();
    /** Another text after each leaveWord(), by whatever process. */
    static QByteArray lastWord();
    /** Says that this process saves, whether or not that is noted too. */
    static void leaveWord();
    /** Whether anything is owed for any sync: by any process, or by this one. */
    static bool isAnyOfAll();
    static bool isOwnOfAll();

private:
    QString ownName() const;
    void append(const QByteArray &lines) const;
    void takeOver(QString path, Owed *owed);

    const QString _prefix; // of the names of the files
    struct Taken
    {
        QString path;
        qint64 size;
    };
    QList<Taken> _taken; // the files that the current pass has taken over
    Owed _owed;          // what those files say
};
