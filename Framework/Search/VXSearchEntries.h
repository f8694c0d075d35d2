#pragma once

#include "VXError.h"
#include "VXSearchIndex.h"

#include <QtCore/QByteArray>
#include <QtCore/QList>
#include <QtCore/QString>

#include <functional>
#include <optional>
#include <vector>

class VXSQLiteConnection;
class VXSQLiteStatement;

/**
 * Inserts entries, with their words and numbers, into the search index, and removes them. The caller provides the
 * transaction.
 */
class VXSearchEntries
{
public:
    explicit VXSearchEntries(VXSQLiteConnection &connection) : _connection(connection) {}

    /** `folder`: its number in the index. If several changes have the same name, the last one counts. */
    bool apply(qint64 folder, const QList<VXSearchIndex::Change> &changes, VXError *error);
    /** Whether the entry is in the index as the change would insert it, numbers included. None on failure. */
    std::optional<bool> has(qint64 folder, const VXSearchIndex::Change &change, VXError *error);
    /** Removes all entries of that folder. */
    bool takeOutAll(const QString &folder, VXError *error);

    static constexpr qint64 undated = qint64(1) << 62; // IDs of entries without date begin here
    /** The digits of a number, in ASCII and reversed, as the index stores them: numbers with the same end have the same
     *  prefix. Empty if there are no digits. */
    static QString reversedSearchString(const QString &number);
    static QString reversed(const QString &digits);

private:
    struct Due
    {
        qint64 place; // the entry's ID, or where to look for a free one; unused for a file that is gone
        const VXSearchIndex::Change *change;
    };
    using Dues = std::vector<Due>;
    static Dues inOrder(const QList<VXSearchIndex::Change> &changes);
    /** Inserts those that are new and removes them from `dues`; leaves the others there. */
    bool insertNew(qint64 folder, Dues *dues, VXError *error);
    bool replace(qint64 folder, const Dues &dues, VXError *error);
    bool takeOut(qint64 folder, const Dues &dues, VXError *error);
    bool takeOut(const QString &condition, const std::function<void(VXSQLiteStatement &)> &bind, VXError *error);
    std::optional<qint64> freeID(qint64 place, VXError *error);
    bool insert(qint64 folder, const VXSearchIndex::Change &change, qint64 id, bool *isIn, VXError *error);
    bool putNumbers(qint64 id, const QStringList &numbers, VXError *error);
    bool run(VXSQLiteStatement &statement, VXError *error);

    VXSQLiteConnection &_connection;
};
