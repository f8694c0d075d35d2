#pragma once

#include "VXPersistentStore.h"
#include "VXSQLiteSchema.h"
#include "VXSQLiteStatement.h"

#include <QtCore/QStringList>

#include <vector>

/**
 * In which columns of a statement the rows of an entity and of its subentities stand, worked out once for each entity so that
 * rows are read and written without looking up a name.
 */
class VXSQLiteRowLayout
{
public:
    VXSQLiteRowLayout(const VXEntityDescription &entity, const VXSQLiteSchema &schema);

    /** What a SELECT that names the table t0 asks for. */
    const QString &identityColumns() const { return _identityColumns; }
    const QString &rowColumns() const { return _rowColumns; }
    /** Whether a function may have them all. */
    bool canHandOver() const { return _canHandOver; }
    /** The same for a VXSQLiteRowReader, bound to that parameter; for statements that do not sort. */
    QString handedColumns(int parameter) const;
    static constexpr int readerParameter = 3; // of the queries below, where the columns can be handed over
    /** The row of the object with the number ?1. */
    const QString &rowQuery() const { return _rowQuery; }
    /** The rows of the objects whose numbers are as `wanted` says (VXObjectNumbers), with ?1 and ?2. */
    QString query(const QString &wanted) const { return _rowsQuery + wanted; }
    /** INSERT with all values of so many objects of just that entity. Where it fails, part of them may be inserted. */
    QString insertion(qsizetype count) const;

    /** The ID from the first columns. @return null when no such entity belongs there. */
    VXManagedObjectID readID(const VXSQLiteStatement &statement, const VXStoreIdentity &store) const
    {
        return makeID(statement.number(0), statement.number(1), store);
    }
    VXManagedObjectID readID(VXSQLiteValues values, const VXStoreIdentity &store) const
    {
        return makeID(values[0].number(), values[1].number(), store);
    }
    static qint64 readVersion(VXSQLiteValues values) { return values[2].number(); }
    /** The values of the row whose ID was read. @return false when they are damaged; `problem` says how. */
    bool readRow(VXSQLiteValues values, const VXManagedObjectID &objectID, VXStoreRow &row, QString *problem) const;

    /** Binds the values of the object at that place of an insertion. @return false when one has no place in the store. */
    bool bindInsertion(VXSQLiteStatement &statement, qsizetype place, const VXManagedObjectID &objectID,
                       const VXStoreRow &row, VXError *error) const;
    /** "column = ?1, ..., " for those of the properties that have columns. */
    QString assignments(const QList<int> &properties) const;
    /** How many parameters those have. */
    int parameterCount(const QList<int> &properties) const;
    /** Binds their values from `parameter` on, which is then the one behind. As bindInsertion. */
    bool bindProperties(VXSQLiteStatement &statement, const QList<int> &properties, const VXManagedObjectID &objectID,
                        const VXStoreRow &row, int *parameter, VXError *error) const;
    /** All properties that have columns. */
    const QList<int> &storedProperties() const { return _storedProperties; }

private:
    struct Cell
    {
        const VXPropertyDescription *property = nullptr;
        int index = 0; // of the property
        int column = 0;
        int entityColumn = -1;                                   // of a to-one relationship; -1: it has none
        const VXRelationshipDescription *relationship = nullptr; // nullptr: an attribute
        VXAttributeType type = VXAttributeType::Integer64;
    };

    VXManagedObjectID makeID(qint64 number, qint64 entityNumber, const VXStoreIdentity &store) const;
    Cell place(const VXPropertyDescription &property, int *column);
    static QStringList columnsOf(const Cell &cell);
    // Of what is not NULL. Those of attributes are read in place: there are many.
    static bool readAttribute(const VXSQLiteValue &value, const Cell &cell, VXStoreRow &row, QString *problem);
    static bool readPropertyList(const VXSQLiteValue &value, const Cell &cell, VXStoreRow &row, QString *problem);
    bool readReference(VXSQLiteValues values, const Cell &cell, const VXStoreIdentity &store, VXStoreRow &row,
                       QString *problem) const;
    bool bindCell(VXSQLiteStatement &statement, const Cell &cell, const VXStoreRow &row, const VXStoreIdentity &store,
                  int *parameter, VXError *error) const;

    const VXEntityDescription &_entity;
    const VXSQLiteSchema &_schema;
    std::vector<std::vector<Cell>> _cells; // by the place of the entity in the model; empty for those of other families
    std::vector<Cell> _byProperty; // of the entity itself, by index; property is nullptr where there is no column
    QList<int> _storedProperties;
    QString _identityColumns;
    QString _rowColumns;
    bool _canHandOver = false;
    QString _rowsQuery;
    QString _rowQuery;
    QString _insertion; // without the values
    int _insertedColumns = 0;
};
