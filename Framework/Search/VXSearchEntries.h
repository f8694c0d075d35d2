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

/** Puts entries into the search index, with their words and addresses, and takes them out. Within a transaction of the caller's. */
class VXSearchEntries
{
public:
    explicit VXSearchEntries(VXSQLiteConnection &connection) : _connection(connection) {}

    /** `folder`: its number in the index. If several changes have the same name, the last one counts. */
    bool apply(qint64 folder, const QList<VXSearchIndex::Change> &changes, VXError *error);
    /** Whether it is there as the change would put it, with its addresses. None on failure. */
    std::optional<bool> has(qint64 folder, const VXSearchIndex::Change &change, VXError *error);
    /** Removes all entries of that folder. */
    bool takeOutAll(const QString &folder, VXError *error);

    // IDs tell kind and date: first what has a date, by that, then what has none, contacts last.
    static constexpr qint64 undated = qint64(1) << 62;
    static constexpr qint64 firstContact = undated + (qint64(1) << 61);
    /** By what an address is found: a number by its search string backwards in ASCII digits, as those with the same end begin
     *  alike, and an e-mail address in lower case behind an "@", behind all digits. Empty for a text that is neither. */
    static QString keyOf(const QString &address);
    static QString reversed(const QString &digits);
    /** How a call went, as one number. */
    static qint64 numberOf(const VXFoundCall &call) { return call.seconds * 4 + qint64(call.way); }
    static VXFoundCall callOf(qint64 number) { return {VXFoundCall::Way(number % 4), number / 4}; }

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
    bool putAddresses(qint64 id, const QStringList &keys, VXError *error);
    bool run(VXSQLiteStatement &statement, VXError *error);

    VXSQLiteConnection &_connection;
};
