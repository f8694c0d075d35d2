#pragma once

#include "VXPersistentStore.h"
#include "VXSQLiteSchema.h"
#include "VXSQLiteStatement.h"

#include <QtCore/QStringList>

#include <vector>

/**
 * The columns of a statement in which the rows of an entity and its subentities are found, computed once for each
 * entity, so that rows are read and written without looking up names.
 */
class VXSQLiteRowLayout
{
public:
    VXSQLiteRowLayout(const VXEntityDescription &entity, const VXSQLiteSchema &schema);

    /** The columns for a SELECT in which the table is named t0. */
    const QString &identityColumns() const { return _identityColumns; }
    const QString &rowColumns() const { return _rowColumns; }
    /** Whether a function can take all of them. */
    bool canHandOver() const { return _canHandOver; }
    /** The same columns passed to a VXSQLiteRowReader, which is bound to that parameter; for statements that do not
     *  sort. */
    QString handedColumns(int parameter) const;
    static constexpr int readerParameter = 3; // in the queries below, if the columns can be passed
    /** Selects the row of the object with the number ?1. */
    const QString &rowQuery() const { return _rowQuery; }
    /** Selects the rows of the objects whose numbers meet the condition `wanted` (VXObjectNumbers), with ?1 and ?2. */
    QString query(const QString &wanted) const { return _rowsQuery + wanted; }
    /** INSERT with all values of so many objects of exactly this entity. If it fails, some of them may have been
     *  inserted. */
    QString insertion(qsizetype count) const;

    /** Reads the ID in the first columns. @return null when its entity does not belong there. */
    VXManagedObjectID readID(const VXSQLiteStatement &statement, const VXStoreIdentity &store) const
    {
        return makeID(statement.number(0), statement.number(1), store);
    }
    VXManagedObjectID readID(VXSQLiteValues values, const VXStoreIdentity &store) const
    {
        return makeID(values[0].number(), values[1].number(), store);
    }
    static qint64 readVersion(VXSQLiteValues values) { return values[2].number(); }
    /** Reads the values of the row whose ID was read. @return false when they are damaged; then `problem` says how. */
    bool readRow(VXSQLiteValues values, const VXManagedObjectID &objectID, VXStoreRow &row, QString *problem) const;

    /** Binds the values of the object at that index of an insertion. @return false when one of them cannot be stored.
     *  */
    bool bindInsertion(VXSQLiteStatement &statement, qsizetype place, const VXManagedObjectID &objectID,
                       const VXStoreRow &row, VXError *error) const;
    /** "column = ?1, ..., " for those of the properties that have columns. */
    QString assignments(const QList<int> &properties) const;
    /** The number of parameters for these. */
    int parameterCount(const QList<int> &properties) const;
    /** Binds their values from `parameter` on, and sets it to the next one. Otherwise like bindInsertion. */
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
        int entityColumn = -1;                                   // of a to-one relationship; -1 if there is none
        const VXRelationshipDescription *relationship = nullptr; // nullptr for an attribute
        VXAttributeType type = VXAttributeType::Integer64;
    };

    VXManagedObjectID makeID(qint64 number, qint64 entityNumber, const VXStoreIdentity &store) const;
    Cell place(const VXPropertyDescription &property, int *column);
    static QStringList columnsOf(const Cell &cell);
    // For values other than NULL. References are read separately; attributes in place, as there are many.
    static bool readAttribute(const VXSQLiteValue &value, const Cell &cell, VXStoreRow &row, QString *problem);
    static bool readPropertyList(const VXSQLiteValue &value, const Cell &cell, VXStoreRow &row, QString *problem);
    bool readReference(VXSQLiteValues values, const Cell &cell, const VXStoreIdentity &store, VXStoreRow &row,
                       QString *problem) const;
    bool bindCell(VXSQLiteStatement &statement, const Cell &cell, const VXStoreRow &row, const VXStoreIdentity &store,
                  int *parameter, VXError *error) const;

    const VXEntityDescription &_entity;
    const VXSQLiteSchema &_schema;
    std::vector<std::vector<Cell>> _cells; // by the entity's number in the model; empty for entities of other families
    std::vector<Cell> _byProperty;         // of the entity itself, by index; property is nullptr if there is no column
    QList<int> _storedProperties;
    QString _identityColumns;
    QString _rowColumns;
    bool _canHandOver = false;
    QString _rowsQuery;
    QString _rowQuery;
    QString _insertion; // without the values
    int _insertedColumns = 0;
};
