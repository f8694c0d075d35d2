#pragma once

#include "VXManagedObjectModel.h"
#include "VXSQLiteSchema.h"
#include "VXStoreRowCopy.h"

#include <QtCore/QList>
#include <QtCore/QString>
#include <QtCore/QVariant>

#include <optional>

/**
 * How the rows of one entity go from one model to another, in SQL: "s" names the old row, and "d" the new one. Parameters
 * ?1 and ?2 are the first and the last number of the rows that are meant, those from ?3 on the constants.
 */
class VXEntityRowPlan
{
public:
    VXEntityRowPlan(const VXEntityDescription &from, const VXSQLiteSchema &fromSchema, const VXEntityDescription &to,
                    const VXSQLiteSchema &toSchema, const VXStoreRowCopy::Filter &leavesOut);

    /** Null when the models allow it. */
    const QString &obstacle() const { return _obstacle; }
    const VXEntityDescription &from() const { return _from; }
    const VXEntityDescription &to() const { return _to; }

    /** How many rows there are (0 without any), the lowest and the highest number, how many have values that are not sound, how
     * many lack a value that has a default, and for each of droppable() whether some row has a value of it. */
    QString survey() const;
    const QStringList &droppable() const { return _droppable; }
    /** Attributes of the old model that are left out, and mandatory ones of the new one that therefore may lack a value. */
    const QStringList &left() const { return _left; }
    const QStringList &unfilled() const { return _unfilled; }
    /** Columns of property lists, which SQL cannot judge. */
    const QStringList &propertyLists() const { return _propertyLists; }

    /** No row lacks such a value. */
    void leaveOutDefaults();
    /** Whether each value is in the same column, with the same meaning. */
    bool isIdentical() const;
    QString insertion() const;
    /** The number of the first row that has no equal one. */
    QString comparison() const;
    const QVariantList &constants() const { return _constants; }

private:
    void addLeft(const VXAttributeDescription &old);
    void addSource(const VXAttributeDescription &old);
    void addAttribute(const VXAttributeDescription &made);
    void addRelationship(const VXRelationshipDescription &made);
    void addColumn(const QString &column, const QString &value);
    QString constant(const QVariant &value);
    QString entityNumber(const VXRelationshipDescription &old, const VXRelationshipDescription &made);
    void refuse(const VXPropertyDescription &property);

    const VXEntityDescription &_from;
    const VXSQLiteSchema &_fromSchema;
    const VXEntityDescription &_to;
    const VXSQLiteSchema &_toSchema;
    QString _obstacle;
    QStringList _columns;
    QStringList _values;
    QStringList _unsound; // conditions that hold for no sound row
    QStringList _lacking; // conditions that hold for rows that lack what has a default
    QStringList _left;
    QStringList _unfilled;
    QStringList _droppable;
    QStringList _isDropped; // conditions, one for each of those
    QStringList _propertyLists;
    QVariantList _constants;
};
