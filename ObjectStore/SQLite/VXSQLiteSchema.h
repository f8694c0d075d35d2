#pragma once

#include "VXManagedObjectModel.h"

#include <QtCore/QHash>
#include <QtCore/QSet>
#include <QtCore/QString>
#include <QtCore/QStringList>

#include <vector>

/** A many-to-many relationship: the table of its pairs, and the column of each end. */
struct VXSQLiteLink
{
    QString table;
    QString source;
    QString target;
    bool isSymmetric; // it is its own inverse: each pair is stored in both directions
};

/**
 * How a model is stored in an SQLite file. Each root entity has a table with the objects of its whole family; Z_PK is
 * the object's number, Z_ENT its entity by a number used only in this file, Z_OPT the version of the row. The names are
 * quoted for SQL. They contain "." and ":", which names in a model cannot, so that none of them collide.
 */
class VXSQLiteSchema
{
public:
    static constexpr int formatVersion = 1;          // PRAGMA user_version
    static constexpr int applicationID = 0x56584F53; // PRAGMA application_id: "VXOS"

    explicit VXSQLiteSchema(const VXManagedObjectModel &model) : _model(model) {}

    /** True for what has a column: attributes and to-one relationships that are not transient. */
    static bool hasColumn(const VXPropertyDescription &property);
    static QString table(const VXEntityDescription &entity);
    static QString column(const VXPropertyDescription &property);
    /** The column of a to-one relationship for the entity of its object, with NULL for the destination entity itself.
     *  Null when the destination has no subentities. */
    static QString entityColumn(const VXRelationshipDescription &relationship);
    static VXSQLiteLink link(const VXRelationshipDescription &relationship);

    /** What a file already has; names are not quoted. */
    struct Existing
    {
        QHash<QString, QHash<QString, QString>> columns; // types of columns, by table and name
        QSet<QString> indexes;
    };
    /** The statements that add what a file lacks. */
    struct Additions
    {
        QStringList tables; // and columns
        QStringList indexes;
    };
    Additions additions(const Existing &existing) const;
    /** Which column of a file is of another type than values of the model are stored as, so that SQLite would change them; null
     * when none is. */
    QString misfit(const Existing &existing) const;

    // -- Numbers of entities in the file, available once it is open
    void setEntityNumber(const VXEntityDescription &entity, int number);
    int entityNumber(const VXEntityDescription &entity) const { return _numbers[size_t(entity.number())]; }
    /** nullptr when no entity has the number. */
    const VXEntityDescription *entityWithNumber(qint64 number) const
    {
        return number >= 0 && number < qint64(_entities.size()) ? _entities[size_t(number)] : nullptr;
    }

private:
    struct Table;

    QList<Table> tables() const;
    Table entityTable(const VXEntityDescription &root) const;
    static Table linkTable(const VXRelationshipDescription &leading);

    const VXManagedObjectModel &_model;
    std::vector<int> _numbers;                          // by the entity's number in the model
    std::vector<const VXEntityDescription *> _entities; // by number in the file
};
