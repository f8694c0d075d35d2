#pragma once

#include "VXManagedObjectID.h"
#include "VXSQLiteStatement.h"

#include <QtCore/QList>
#include <QtCore/QString>

#include <vector>

/**
 * Objects of one store and family, by their numbers, as parameters of a statement that reads all of them. Numbers that
 * are close together are passed as a range, which SQLite scans without looking up each; as a range may contain others,
 * readers have to call `find` first. The list and this object must outlive the use of the statement.
 */
class VXObjectNumbers
{
public:
    /** At least one object. `others`: how many unwanted numbers per wanted one a range may contain. */
    explicit VXObjectNumbers(const QList<VXManagedObjectID> &objectIDs, int others = 0);

    /** The condition for a column, with the parameters ?1 and ?2; there are three such texts. */
    QString wanted() const;
    void bind(VXSQLiteStatement &statement) const;
    /** The first object with that number; nullptr for a number that was not asked for. */
    const VXManagedObjectID *find(qint64 number) const;

    /** The numbers as a JSON array. */
    static QString list(const QList<VXManagedObjectID> &objectIDs);

private:
    bool isOne() const { return _first == _last; }

    qint64 _first; // the least number
    qint64 _last;
    bool _isRange;
    std::vector<const VXManagedObjectID *> _byNumber; // for a range: indexed by number from _first on; otherwise sorted
    QString _list;                                    // if there is no range
};
