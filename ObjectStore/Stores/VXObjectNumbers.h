#pragma once

#include "VXManagedObjectID.h"
#include "VXSQLiteStatement.h"

#include <QtCore/QList>
#include <QtCore/QString>

#include <vector>

/**
 * Objects of one store and family, by their numbers: how a statement is asked for all of them. Those whose numbers lie close
 * together are asked for as a range, which SQLite walks without looking for each; it may hold others too, so whoever reads asks
 * `find` first. The list and this must outlive the statement's use.
 */
class VXObjectNumbers
{
public:
    /** At least one. `others`: how many numbers beside each that is wanted may lie in a range. */
    explicit VXObjectNumbers(const QList<VXManagedObjectID> &objectIDs, int others = 0);

    /** What a column must be, with the parameters ?1 and ?2; there are three such texts. */
    QString wanted() const;
    void bind(VXSQLiteStatement &statement) const;
    /** The first of that number; nullptr for a number that was not asked for. */
    const VXManagedObjectID *find(qint64 number) const;

    /** As a JSON array. */
    static QString list(const QList<VXManagedObjectID> &objectIDs);

private:
    bool isOne() const { return _first == _last; }

    qint64 _first; // the least number
    qint64 _last;
    bool _isRange;
    std::vector<const VXManagedObjectID *> _byNumber; // of a range: from the first number on; else sorted
    QString _list;                                    // of others
};
