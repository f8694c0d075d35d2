#pragma once

#include "VXFrameworkExport.h"

#include <QtCore/QList>
#include <QtCore/QSet>
#include <QtCore/QString>
#include <QtCore/QStringList>

/**
 * What of a store was saved and is not mirrored yet, as all processes know it: a file for each process that owes something, with
 * the numbers of the objects that it changed. So that one which ends at once, or is killed, leaves word for the next one. A pass
 * takes them over into files of its own, which go when it is done. Any thread; passes under the folder's lock.
 */
class VX_EXPORT VXMetaDataDebt
{
public:
    /** Objects whose files are to be written whatever their dates say. */
    struct Owed
    {
        QSet<qint64> numbers = {};
        bool isAll = false; // nobody knows which
        bool contains(qint64 number) const { return isAll || numbers.contains(number); }
    };

    /** Of the sync of that identifier. */
    explicit VXMetaDataDebt(const QString &identifier);

    // -- What this process saves. Where that cannot be written, nor beside the stores, the log says so once, until it goes again.
    /** It owes something from now on: these objects, and new ones. */
    void mark(const QList<qint64> &changed = {}) const;
    /** The same of more objects than can be named. */
    void markAll() const;
    /** Whether the word that it left is still there, and nobody has taken it over. */
    bool isMarked() const;
    /** What it owed is done. */
    void settleOwn() const;

    /** What it owes is left to a pass, whatever is settled after. */
    void leaveToPass() const;

    // -- A pass
    /** A pass is due whether or not anything was saved. */
    void markPass() const;
    /** Takes over what any process owes, and what passes owe that did not end. */
    Owed beginPass();
    /** All of that is done; else a pass stays due. */
    void endPass(bool isDone);
    /** The next pass owes these objects, whenever it comes: they make none due. */
    void markLater(const QList<qint64> &numbers) const;

    // -- The index. It stays so until all files were put in.
    /** Files were changed that the index was not told of. */
    void markIndex() const;
    void settleIndex() const;
    bool isIndexOwed() const;

    /** Nothing is owed any more, whatever it was. */
    void forget() const;

    bool isAny() const;
    /** Who owes something. */
    static QStringList identifiersOfAll();
    /** Of any sync, by any process, or by this one. */
    static bool isAnyOfAll();
    static bool isOwnOfAll();

private:
    QString ownName() const;
    void append(const QByteArray &lines) const;
    void takeOver(QString path, Owed *owed);

    const QString _prefix; // of the files' names
    struct Taken
    {
        QString path;
        qint64 size;
    };
    QList<Taken> _taken; // the pass's, as is
    Owed _owed;          // what they say
};
