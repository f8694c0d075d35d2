#include "VXSQLiteSchema.h"

#include <algorithm>

using namespace Qt::StringLiterals;

struct VXSQLiteSchema::Table
{
    struct Column
    {
        QString name;
        QString declaration; // type and constraints
        bool isIndexed = false;
    };

    QString name;
    QList<Column> columns;
    QString ending;                  // after the columns
    QList<QStringList> indexes = {}; // over several columns
};

namespace {

QString quoted(const QString &name)
{
    return u'"' + name + u'"';
}

// -- Names before quoting

QString tableName(const VXEntityDescription &root)
{
    return "VX_"_L1 + root.name();
}

// Properties of the root entity have their plain names, unless those look like one of the store's own columns.
QString columnName(const VXPropertyDescription &property)
{
    const bool isPlain =
        property.entity().superentity() == nullptr && !property.name().startsWith("Z_"_L1, Qt::CaseInsensitive);
    return isPlain ? property.name() : property.entity().name() + u'.' + property.name();
}

QString entityColumnName(const VXRelationshipDescription &relationship)
{
    return relationship.destination().subentities().isEmpty() ? QString() : columnName(relationship) + ":entity"_L1;
}

QString linkTableName(const VXRelationshipDescription &leading)
{
    return "VX_"_L1 + leading.entity().name() + u'.' + leading.name();
}

QString typeName(VXAttributeType type)
{
    switch (type) {
    case VXAttributeType::Integer16:
    case VXAttributeType::Integer32:
    case VXAttributeType::Integer64:
    case VXAttributeType::Boolean:
    case VXAttributeType::Date: // milliseconds since 1970, UTC
        return u"INTEGER"_s;
    case VXAttributeType::Double:
        return u"REAL"_s;
    case VXAttributeType::String:
        return u"TEXT"_s;
    case VXAttributeType::Binary:
    case VXAttributeType::PropertyList: // in binary form
        break;
    }
    return u"BLOB"_s;
}

// Whether the table of the pair is named after this end.
bool isLeading(const VXRelationshipDescription &relationship)
{
    const auto nameOf = [](const VXRelationshipDescription &each) {
        return std::pair(each.entity().name(), each.name());
    };
    return nameOf(relationship) <= nameOf(*relationship.inverse());
}

bool isConcreteFamilyOfSeveral(const VXEntityDescription &root)
{
    const QList<const VXEntityDescription *> family = root.family();
    return std::count_if(family.cbegin(), family.cend(),
                         [](const VXEntityDescription *each) { return !each->isAbstract(); }) > 1;
}

// Whether the entity does not inherit the property.
bool isOwn(const VXPropertyDescription &property, const VXEntityDescription &entity)
{
    return &property.entity() == &entity;
}

} // namespace

bool VXSQLiteSchema::hasColumn(const VXPropertyDescription &property)
{
    const VXRelationshipDescription *const relationship = property.asRelationship();
    return !property.isTransient() && (relationship == nullptr || !relationship->isToMany());
}

QString VXSQLiteSchema::table(const VXEntityDescription &entity)
{
    return quoted(tableName(entity.rootEntity()));
}

QString VXSQLiteSchema::column(const VXPropertyDescription &property)
{
    return quoted(columnName(property));
}

QString VXSQLiteSchema::entityColumn(const VXRelationshipDescription &relationship)
{
    const QString name = entityColumnName(relationship);
    return name.isNull() ? QString() : quoted(name);
}

VXSQLiteLink VXSQLiteSchema::link(const VXRelationshipDescription &relationship)
{
    const bool leads = isLeading(relationship);
    const VXRelationshipDescription &leading = leads ? relationship : *relationship.inverse();
    return {.table = quoted(linkTableName(leading)),
            .source = leads ? u"Z_SOURCE"_s : u"Z_TARGET"_s,
            .target = leads ? u"Z_TARGET"_s : u"Z_SOURCE"_s,
            .isSymmetric = relationship.inverse() == &relationship};
}

VXSQLiteSchema::Table VXSQLiteSchema::entityTable(const VXEntityDescription &root) const
{
    Table made{tableName(root), {}, {}};
    made.columns = {{u"Z_PK"_s, u"INTEGER PRIMARY KEY"_s},
                    {u"Z_ENT"_s, u"INTEGER NOT NULL DEFAULT 0"_s, isConcreteFamilyOfSeveral(root)},
                    {u"Z_OPT"_s, u"INTEGER NOT NULL DEFAULT 0"_s}};
    for (const VXEntityDescription *const entity : root.family()) {
        for (const VXPropertyDescription *const property : entity->properties()) {
            if (!isOwn(*property, *entity) || !hasColumn(*property))
                continue;
            if (const VXAttributeDescription *const attribute = property->asAttribute()) {
                made.columns.append({columnName(*property), typeName(attribute->type()), attribute->isIndexed()});
                continue;
            }
            made.columns.append({columnName(*property), u"INTEGER"_s, true}); // used to read the inverse
            if (const QString name = entityColumnName(*property->asRelationship()); !name.isNull())
                made.columns.append({name, u"INTEGER"_s});
        }
        for (const QList<const VXPropertyDescription *> &index : entity->indexes()) {
            QStringList columns;
            for (const VXPropertyDescription *const property : index)
                columns.append(columnName(*property));
            made.indexes.append(columns);
        }
    }
    return made;
}

VXSQLiteSchema::Table VXSQLiteSchema::linkTable(const VXRelationshipDescription &leading)
{
    return {linkTableName(leading),
            {{u"Z_SOURCE"_s, u"INTEGER NOT NULL"_s}, {u"Z_TARGET"_s, u"INTEGER NOT NULL"_s, true}},
            u", PRIMARY KEY (Z_SOURCE, Z_TARGET)) WITHOUT ROWID"_s};
}

QList<VXSQLiteSchema::Table> VXSQLiteSchema::tables() const
{
    QList<Table> made{
        {u"Z_METADATA"_s, {{u"Z_KEY"_s, u"TEXT PRIMARY KEY"_s}, {u"Z_VALUE"_s, u"BLOB"_s}}, {}},
        {u"Z_ENTITY"_s, {{u"Z_ENT"_s, u"INTEGER PRIMARY KEY"_s}, {u"Z_NAME"_s, u"TEXT NOT NULL UNIQUE"_s}}, {}},
        {u"Z_PRIMARYKEY"_s, {{u"Z_NAME"_s, u"TEXT PRIMARY KEY"_s}, {u"Z_MAX"_s, u"INTEGER NOT NULL"_s}}, {}},
    };
    for (const VXEntityDescription *const entity : _model.entities()) {
        if (entity->superentity() == nullptr)
            made.append(entityTable(*entity));
        for (const VXRelationshipDescription *const relationship : entity->relationships()) {
            if (isOwn(*relationship, *entity) && !relationship->isTransient() && relationship->isManyToMany() &&
                isLeading(*relationship))
                made.append(linkTable(*relationship));
        }
    }
    return made;
}

VXSQLiteSchema::Additions VXSQLiteSchema::additions(const Existing &existing) const
{
    Additions made;
    for (const Table &table : tables()) {
        const QHash<QString, QString> there = existing.columns.value(table.name);
        QStringList columns;
        for (const Table::Column &column : table.columns) {
            const QString declared = quoted(column.name) + u' ' + column.declaration;
            if (there.isEmpty())
                columns.append(declared);
            else if (!there.contains(column.name))
                made.tables.append(u"ALTER TABLE %1 ADD COLUMN %2"_s.arg(quoted(table.name), declared));
            const QString index = table.name + u':' + column.name;
            if (column.isIndexed && !existing.indexes.contains(index))
                made.indexes.append(
                    u"CREATE INDEX %1 ON %2 (%3)"_s.arg(quoted(index), quoted(table.name), quoted(column.name)));
        }
        for (const QStringList &names : table.indexes) {
            const QString index = table.name + u':' + names.join(u',');
            if (!existing.indexes.contains(index))
                made.indexes.append(u"CREATE INDEX %1 ON %2 (\"%3\")"_s.arg(quoted(index), quoted(table.name),
                                                                            names.join("\", \""_L1)));
        }
        if (there.isEmpty())
            made.tables.append(u"CREATE TABLE %1 (%2%3"_s.arg(quoted(table.name), columns.join(", "_L1),
                                                              table.ending.isNull() ? u")"_s : table.ending));
    }
    return made;
}

QString VXSQLiteSchema::misfit(const Existing &existing) const
{
    for (const Table &table : tables()) {
        const QHash<QString, QString> there = existing.columns.value(table.name);
        for (const Table::Column &column : table.columns) {
            const QString type = column.declaration.section(u' ', 0, 0);
            const auto found = there.constFind(column.name);
            if (found != there.cend() && found->compare(type, Qt::CaseInsensitive) != 0)
                return u"The column \"%1\" of the table \"%2\" is of the type \"%3\", and not %4."_s.arg(
                    column.name, table.name, *found, type);
        }
    }
    return {};
}

void VXSQLiteSchema::setEntityNumber(const VXEntityDescription &entity, int number)
{
    _numbers.resize(size_t(_model.entities().size()), -1);
    _numbers[size_t(entity.number())] = number;
    if (size_t(number) >= _entities.size())
        _entities.resize(size_t(number) + 1, nullptr);
    _entities[size_t(number)] = &entity;
}
