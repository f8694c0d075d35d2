#include "VXSQLiteRowLayout.h"

#include "VXPropertyList.h"

#include <QtCore/QDateTime>

using namespace Qt::StringLiterals;

namespace {

constexpr int firstValueColumn = 3; // after Z_PK, Z_ENT and Z_OPT
constexpr int mostHandedOver = 100; // SQLite allows 127 arguments

} // namespace

VXSQLiteRowLayout::VXSQLiteRowLayout(const VXEntityDescription &entity, const VXSQLiteSchema &schema)
    : _entity(entity), _schema(schema), _cells(size_t(entity.model().entities().size())),
      _byProperty(size_t(entity.properties().size())), _identityColumns(u"t0.Z_PK, t0.Z_ENT"_s),
      _rowColumns(u"t0.Z_PK, t0.Z_ENT, t0.Z_OPT"_s)
{
    QHash<const VXPropertyDescription *, Cell> placed; // inherited properties are shared
    int column = firstValueColumn;
    for (const VXEntityDescription *const each : entity.family()) {
        std::vector<Cell> &cells = _cells[size_t(each->number())];
        for (const VXPropertyDescription *const property : each->properties()) {
            if (!VXSQLiteSchema::hasColumn(*property))
                continue;
            if (!placed.contains(property))
                placed.insert(property, place(*property, &column));
            cells.push_back(placed.value(property));
        }
    }
    _canHandOver = column <= mostHandedOver;
    _rowsQuery = u"SELECT %1 FROM %2 t0 WHERE t0.Z_PK "_s.arg(
        _canHandOver ? handedColumns(readerParameter) : _rowColumns, VXSQLiteSchema::table(entity));
    _rowQuery = query(u"= ?1"_s);
    QString columns = u"Z_PK, Z_ENT, Z_OPT"_s;
    for (const Cell &cell : _cells[size_t(entity.number())]) {
        const int index = cell.property->index();
        _byProperty[size_t(index)] = cell;
        _storedProperties.append(index);
    }
    _insertedColumns = firstValueColumn;
    for (const int index : std::as_const(_storedProperties)) {
        for (const QString &name : columnsOf(_byProperty[size_t(index)])) {
            columns += ", "_L1 + name;
            ++_insertedColumns;
        }
    }
    _insertion = u"INSERT OR FAIL INTO %1 (%2) VALUES "_s.arg(VXSQLiteSchema::table(entity), columns);
}

QString VXSQLiteRowLayout::handedColumns(int parameter) const
{
    return u"VX_ROW(?%1, %2)"_s.arg(QString::number(parameter), _rowColumns);
}

// "OR FAIL", because otherwise SQLite copies each page before a multi-row statement changes it, to be able to undo that
// statement.
QString VXSQLiteRowLayout::insertion(qsizetype count) const
{
    const QString marks = u"(?"_s + u", ?"_s.repeated(_insertedColumns - 1) + u')';
    return _insertion + marks + (u", "_s + marks).repeated(count - 1);
}

VXSQLiteRowLayout::Cell VXSQLiteRowLayout::place(const VXPropertyDescription &property, int *column)
{
    Cell cell{.property = &property, .index = property.index(), .relationship = property.asRelationship()};
    if (const VXAttributeDescription *const attribute = property.asAttribute())
        cell.type = attribute->type();
    cell.column = (*column)++;
    const QStringList names = columnsOf(cell);
    if (names.size() > 1)
        cell.entityColumn = (*column)++;
    for (const QString &name : names)
        _rowColumns += ", t0."_L1 + name;
    return cell;
}

// The column of the value and, for some relationships, that of the entity.
QStringList VXSQLiteRowLayout::columnsOf(const Cell &cell)
{
    QStringList names{VXSQLiteSchema::column(*cell.property)};
    const QString entityColumn =
        cell.relationship == nullptr ? QString() : VXSQLiteSchema::entityColumn(*cell.relationship);
    if (!entityColumn.isNull())
        names.append(entityColumn);
    return names;
}

VXManagedObjectID VXSQLiteRowLayout::makeID(qint64 number, qint64 entityNumber, const VXStoreIdentity &store) const
{
    const VXEntityDescription *const entity = _schema.entityWithNumber(entityNumber);
    if (entity == nullptr || !entity->isKindOfEntity(_entity) || number < 1 || number > VXLargestStoreNumber)
        return {};
    return {*entity, store, number};
}

bool VXSQLiteRowLayout::readRow(VXSQLiteValues values, const VXManagedObjectID &objectID, VXStoreRow &row,
                                QString *problem) const
{
    if (const qint64 version = readVersion(values); version < 1 || version > VXLargestStoreNumber) {
        *problem = u"An object is of no version that can be."_s;
        return false;
    }
    for (const Cell &cell : _cells[size_t(objectID.entity().number())]) {
        const VXSQLiteValue value = values[cell.column];
        if (value.isNull())
            continue;
        const bool isRead = cell.relationship == nullptr ? readAttribute(value, cell, row, problem)
                                                         : readReference(values, cell, *objectID.store(), row, problem);
        if (Q_UNLIKELY(!isRead))
            return false;
    }
    return true;
}

bool VXSQLiteRowLayout::readReference(VXSQLiteValues values, const Cell &cell, const VXStoreIdentity &store,
                                      VXStoreRow &row, QString *problem) const
{
    const VXEntityDescription &destination = cell.relationship->destination();
    const VXEntityDescription *entity = &destination;
    if (cell.entityColumn >= 0 && !values[cell.entityColumn].isNull())
        entity = _schema.entityWithNumber(values[cell.entityColumn].number());
    const qint64 number = values[cell.column].number();
    if (entity == nullptr || !entity->isKindOfEntity(destination) || number < 1) {
        *problem = u"A reference of \"%1\" leads to no object that can be."_s.arg(cell.property->name());
        return false;
    }
    row.setTarget(cell.index, {*entity, store, number});
    return true;
}

inline bool VXSQLiteRowLayout::readAttribute(const VXSQLiteValue &value, const Cell &cell, VXStoreRow &row,
                                             QString *problem)
{
    using Kind = VXStoreRow::Kind;
    switch (cell.type) {
    case VXAttributeType::Integer16:
    case VXAttributeType::Integer32:
        row.setNumber(cell.index, Kind::Integer, int(value.number()));
        break;
    case VXAttributeType::Integer64:
        row.setNumber(cell.index, Kind::LongInteger, value.number());
        break;
    case VXAttributeType::Double:
        row.setReal(cell.index, value.real());
        break;
    case VXAttributeType::Boolean:
        row.setNumber(cell.index, Kind::Boolean, value.number() != 0 ? 1 : 0);
        break;
    case VXAttributeType::String:
        row.setText(cell.index, value.text());
        break;
    case VXAttributeType::Date:
        row.setNumber(cell.index, Kind::Date, value.number());
        break;
    case VXAttributeType::Binary:
        row.setData(cell.index, value.data());
        break;
    case VXAttributeType::PropertyList:
        return readPropertyList(value, cell, row, problem);
    }
    return true;
}

bool VXSQLiteRowLayout::readPropertyList(const VXSQLiteValue &value, const Cell &cell, VXStoreRow &row,
                                         QString *problem)
{
    VXError error;
    row.setValue(cell.index, VXPropertyList::fromData(value.data().toByteArray(), &error));
    if (row.hasValue(cell.index))
        return true;
    *problem = u"\"%1\" of an object is no property list. %2"_s.arg(cell.property->name(), error.description());
    return false;
}

bool VXSQLiteRowLayout::bindInsertion(VXSQLiteStatement &statement, qsizetype place, const VXManagedObjectID &objectID,
                                      const VXStoreRow &row, VXError *error) const
{
    int parameter = int(place) * _insertedColumns + 1;
    statement.bindNumber(parameter++, objectID.number());
    statement.bindNumber(parameter++, _schema.entityNumber(_entity));
    statement.bindNumber(parameter++, row.version());
    return bindProperties(statement, _storedProperties, objectID, row, &parameter, error);
}

QString VXSQLiteRowLayout::assignments(const QList<int> &properties) const
{
    QString made;
    int parameter = 0;
    for (const int index : properties) {
        if (_byProperty[size_t(index)].property == nullptr)
            continue;
        for (const QString &name : columnsOf(_byProperty[size_t(index)]))
            made += u"%1 = ?%2, "_s.arg(name).arg(++parameter);
    }
    return made;
}

int VXSQLiteRowLayout::parameterCount(const QList<int> &properties) const
{
    int count = 0;
    for (const int index : properties) {
        const Cell &cell = _byProperty[size_t(index)];
        if (cell.property != nullptr)
            count += cell.entityColumn >= 0 ? 2 : 1;
    }
    return count;
}

bool VXSQLiteRowLayout::bindProperties(VXSQLiteStatement &statement, const QList<int> &properties,
                                       const VXManagedObjectID &objectID, const VXStoreRow &row, int *parameter,
                                       VXError *error) const
{
    for (const int index : properties) {
        const Cell &cell = _byProperty[size_t(index)];
        if (cell.property != nullptr && !bindCell(statement, cell, row, *objectID.store(), parameter, error))
            return false;
    }
    return true;
}

bool VXSQLiteRowLayout::bindCell(VXSQLiteStatement &statement, const Cell &cell, const VXStoreRow &row,
                                 const VXStoreIdentity &store, int *parameter, VXError *error) const
{
    using Kind = VXStoreRow::Kind;
    const int at = (*parameter)++;
    if (cell.type == VXAttributeType::PropertyList && cell.relationship == nullptr && row.hasValue(cell.index)) {
        const QByteArray list = VXPropertyList::toData(row.value(cell.index), VXPropertyList::Format::Binary, error);
        if (list.isNull())
            return false;
        statement.bindDataCopy(at, list);
        return true;
    }
    switch (row.kind(cell.index)) {
    case Kind::None:
        statement.bindNull(at);
        if (cell.entityColumn >= 0)
            statement.bindNull((*parameter)++);
        break;
    case Kind::Integer:
    case Kind::LongInteger:
    case Kind::Boolean:
    case Kind::Date:
        statement.bindNumber(at, *row.number(cell.index));
        break;
    case Kind::Real:
        statement.bindReal(at, *row.real(cell.index));
        break;
    case Kind::Text:
        statement.bindText(at, row.text(cell.index));
        break;
    case Kind::Data:
        statement.bindData(at, row.data(cell.index));
        break;
    case Kind::Target: {
        const VXManagedObjectID &target = *row.target(cell.index);
        if (target.store() != &store) {
            VXSetError(error,
                       VXObjectStoreError(
                           VXObjectStoreErrorCode::ReferentialIntegrity, u"An object cannot be saved."_s,
                           u"\"%1\" leads to an object of another store, or of none."_s.arg(cell.property->name())));
            return false;
        }
        statement.bindNumber(at, target.number());
        if (cell.entityColumn >= 0)
            statement.bindNumber((*parameter)++, _schema.entityNumber(target.entity()));
        break;
    }
    case Kind::Other: // copies share the bound data
        statement.bindValue(at, row.value(cell.index));
        break;
    }
    return true;
}
