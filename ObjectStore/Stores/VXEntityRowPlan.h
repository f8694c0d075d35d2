#pragma once

#include "VXManagedObjectModel.h"
#include "VXSQLiteSchema.h"
#include "VXStoreRowCopy.h"

#include <QtCore/QList>
#include <QtCore/QString>
#include <QtCore/QVariant>

#include <optional>

/**
 * How to convert the rows of one entity from one model to another, in SQL: "s" is the old row, "d" the new one.
 * Parameters ?1 and ?2 are the first and last number of the rows, those from ?3 on the constants.
 */
class VXEntityRowPlan
{
public:
    VXEntityRowPlan(const VXEntityDescription &from, const VXSQLiteSchema &fromSchema, const VXEntityDescription &to,
                    const VXSQLiteSchema &toSchema, const VXStoreRowCopy::Filter &leavesOut);

    /** Why the models do not allow it; null when they do. */
    const QString &obstacle() const { return _obstacle; }
    const VXEntityDescription &from() const { return _from; }
    const VXEntityDescription &to() const { return _to; }

    /** Selects the number of rows (0 without any), the lowest and the highest number, how many have invalid values, how
     *  many lack a value that has a default, and for each of droppable() whether any row has a value. */
    QString survey() const;
    const QStringList &droppable() const { return _droppable; }
    /** Attributes of the old model that are left out, and mandatory attributes of the new one that may therefore lack a
     *  value. */
    const QStringList &left() const { return _left; }
    const QStringList &unfilled() const { return _unfilled; }
    /** Columns of property lists, which SQL cannot check. */
    const QStringList &propertyLists() const { return _propertyLists; }

    /** To be called when no row lacks a value that has a default. */
    void leaveOutDefaults();
    /** Whether each value is in the same column with the same meaning. */
    bool isIdentical() const;
    QString insertion() const;
    /** Selects the number of the first row without an equal one. */
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
    QStringList _unsound; // conditions that no valid row meets
    QStringList _lacking; // conditions for rows that lack a value that has a default
    QStringList _left;
    QStringList _unfilled;
    QStringList _droppable;
    QStringList _isDropped; // conditions, one for each of _droppable
    QStringList _propertyLists;
    QVariantList _constants;
};
