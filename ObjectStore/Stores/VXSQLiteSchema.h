#pragma once

#include "VXManagedObjectModel.h"

#include <QtCore/QHash>
#include <QtCore/QSet>
#include <QtCore/QString>
#include <QtCore/QStringList>

#include <vector>

/** A relationship that is to-many at both ends: the table of its pairs, and in which column each end stands. */
struct VXSQLiteLink
{
    QString table;
    QString source;
    QString target;
    bool isSymmetric; // its own inverse: each pair stands there in both directions
};

/**
 * How a model lies in an SQLite file. Each root entity has a table with the objects of its whole family; Z_PK is the object's
 * number, Z_ENT its entity by a number of the file's own, Z_OPT the version of the row. Names here are quoted for SQL. They
 * hold "." and ":" where no name of a model can, so that none of them collide.
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
    /** Of a to-one relationship, the column with the entity of the object it leads to, NULL for the destination itself. Null
     * where the destination has no subentities. */
    static QString entityColumn(const VXRelationshipDescription &relationship);
    static VXSQLiteLink link(const VXRelationshipDescription &relationship);

    /** What a file has already; names as they are, not quoted. */
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

    // -- Numbers of entities in the file, known once it is open
    void setEntityNumber(const VXEntityDescription &entity, int number);
    int entityNumber(const VXEntityDescription &entity) const { return _numbers[size_t(entity.number())]; }
    /** nullptr for a number that no entity has. */
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
    std::vector<int> _numbers;                          // by the entity's place in the model
    std::vector<const VXEntityDescription *> _entities; // by number
};
