#include "VXSQLiteStore.h"

#include "VXObjectNumbers.h"
#include "VXSQLiteRowReader.h"
#include "VXSQLPredicate.h"

#include <algorithm>

using namespace Qt::StringLiterals;

using Step = VXSQLiteStatement::Step;
using Wanted = VXSQLiteQueryCache::Wanted;

struct VXSQLiteStore::Query
{
    QString sql;
    QVariantList values;    // of the parameters; must outlive the statement's use
    bool isExact = true;    // whether it includes predicate, order, limit and offset completely
    bool handsOver = false; // whether columns are passed to a reader, which is bound after the values

    void bind(VXSQLiteStatement &statement) const
    {
        for (qsizetype index = 0; index < values.size(); ++index)
            statement.bindValue(int(index) + 1, values[index]);
    }
};

/** Reads the rows of a connection's statement. */
class VXSQLiteStore::Cursor final : public VXRowCursor
{
public:
    Cursor(const VXSQLiteStore &store, const VXSQLiteRowLayout &layout, Query query, bool needsRows)
        : VXRowCursor(query.isExact), _store(store), _layout(layout), _query(std::move(query)), _needsRows(needsRows),
          _reader(layout, store.identity())
    {
    }

    bool start(VXSQLiteConnectionPool::Lease connection, VXError *error)
    {
        _connection = std::move(connection);
        _statement = _connection ? _connection->statement(_query.sql, error) : VXSQLiteStatement();
        if (!_statement)
            return false;
        _query.bind(_statement);
        if (_query.handsOver)
            _reader.bind(_statement, int(_query.values.size()) + 1);
        return true;
    }

    Step next(VXFetchedRow *row, VXError *error) override
    {
        switch (_statement.step()) {
        case VXSQLiteStatement::Step::Row:
            return read(*row, error) ? Step::Row : Step::Failed;
        case VXSQLiteStatement::Step::Done:
            return Step::End;
        case VXSQLiteStatement::Step::Failed:
            break;
        }
        VXSetError(error, _connection->lastError());
        return Step::Failed;
    }

private:
    bool read(VXFetchedRow &fetched, VXError *error)
    {
        return _store.readFetched(_layout, _statement, _needsRows ? &_reader : nullptr, &fetched, error);
    }

    const VXSQLiteStore &_store;
    const VXSQLiteRowLayout &_layout;
    const Query _query; // the statement refers to its values
    const bool _needsRows;
    VXSQLiteRowReader _reader;
    VXSQLiteConnectionPool::Lease _connection;
    VXSQLiteStatement _statement; // returned before its connection
};

namespace {

QString columns(const VXSQLiteRowLayout &layout, Wanted wanted)
{
    return wanted == Wanted::Rows  ? layout.rowColumns()
           : wanted == Wanted::IDs ? layout.identityColumns()
                                   : u"COUNT(*)"_s;
}

// Whether SQLite may have to sort the rows; if it does not decide everything, only by number: the caller sorts those.
bool isOrdered(const VXFetchRequest &request)
{
    return !request.sortDescriptors.isEmpty() || request.isCut();
}

// Whether an index has the rows in their order, so that the first ones are found without sorting all.
bool isCutByIndex(const VXFetchRequest &request)
{
    if (!request.isCut() || request.sortDescriptors.isEmpty())
        return false;
    const VXPropertyDescription *const first =
        request.entity().propertyForName(request.sortDescriptors.constFirst().key);
    const VXAttributeDescription *const attribute = first == nullptr ? nullptr : first->asAttribute();
    // Indexes have texts in another order, and numbers that may be NaN.
    return attribute != nullptr && attribute->isIndexed() && attribute->type() != VXAttributeType::String &&
           attribute->type() != VXAttributeType::Double;
}

// The condition for rows of the requested entities; null when all rows of the table are.
QString entityCondition(const VXFetchRequest &request, const VXSQLiteSchema &schema, bool usesIndex)
{
    const auto concrete = [](const VXEntityDescription &entity) {
        QList<const VXEntityDescription *> family = entity.family();
        family.removeIf([](const VXEntityDescription *each) { return each->isAbstract(); });
        return family;
    };
    QList<const VXEntityDescription *> wanted = concrete(request.entity());
    if (!request.includesSubentities)
        wanted.removeIf([&](const VXEntityDescription *each) { return each != &request.entity(); });
    if (wanted.size() == concrete(request.entity().rootEntity()).size())
        return {};
    QStringList numbers;
    for (const VXEntityDescription *const entity : std::as_const(wanted))
        numbers.append(QString::number(schema.entityNumber(*entity)));
    // The plus keeps SQLite from using the index of entities where there is a better one.
    return u"%1t0.Z_ENT IN (%2)"_s.arg(usesIndex ? u"+"_s : QString(), numbers.join(", "_L1));
}

} // namespace

VXSQLiteStore::Query VXSQLiteStore::query(const VXFetchRequest &request, VXSQLiteQueryCache::Wanted wanted)
{
    std::optional<QVariantList> values;
    if (request.afterNumber == 0) // which is part of the SQL
        values = VXSQLiteQueryCache::valuesOf(request.predicate, identity());
    Query made;
    if (values) {
        made.values = *values;
        made.sql = _queries.find(request, wanted, &made.values);
    }
    if (made.sql.isNull()) {
        made = compiled(request, wanted);
        if (values && made.isExact && made.values.size() == values->size())
            _queries.keep(request, wanted, made.sql, *values, made.values);
    }
    made.handsOver = wanted == Wanted::Rows && layout(request.entity()).canHandOver() && !isOrdered(request);
    if (made.isExact && wanted != Wanted::Count && request.isCut())
        made.values.append({request.limit > 0 ? qlonglong(request.limit) : -1LL, qlonglong(request.offset)});
    return made;
}

VXSQLiteStore::Query VXSQLiteStore::compiled(const VXFetchRequest &request, VXSQLiteQueryCache::Wanted wanted) const
{
    VXSQLPredicate predicate(request.entity(), identity());
    Query made;
    made.isExact = predicate.add(request.predicate);
    QStringList terms;
    for (const VXSortDescriptor &descriptor : request.sortDescriptors) {
        terms.append(predicate.order(descriptor));
        made.isExact = made.isExact && !terms.constLast().isNull();
    }
    QStringList conditions{entityCondition(request, _schema, predicate.isSelective() || isCutByIndex(request)),
                           predicate.conditions()};
    conditions.removeAll(QString());
    if (request.afterNumber > 0)
        conditions.append(u"t0.Z_PK > %1"_s.arg(request.afterNumber));
    made.values = predicate.values();
    const VXSQLiteRowLayout &rows = layout(request.entity());
    made.handsOver = wanted == Wanted::Rows && rows.canHandOver() && !isOrdered(request);
    made.sql = u"SELECT %1 FROM %2 t0"_s.arg(made.handsOver ? rows.handedColumns(int(made.values.size()) + 1)
                                                            : columns(rows, wanted),
                                             VXSQLiteSchema::table(request.entity()));
    if (!conditions.isEmpty())
        made.sql += " WHERE "_L1 + conditions.join(" AND "_L1);
    if (wanted == Wanted::Count)
        return made;
    if (!made.isExact)
        terms.clear();
    if (isOrdered(request)) { // the number comes last, so that pages of a result never overlap
        terms.append(u"t0.Z_PK"_s);
        made.sql += " ORDER BY "_L1 + terms.join(", "_L1);
    }
    if (made.isExact && request.isCut()) {
        const qsizetype next = made.values.size() + 1;
        made.sql += u" LIMIT ?%1 OFFSET ?%2"_s.arg(next).arg(next + 1);
    }
    return made;
}

std::unique_ptr<VXRowCursor> VXSQLiteStore::fetch(const VXFetchRequest &request, bool needsRows, VXError *error)
{
    if (auto found = needsRows ? nullptr : firstInOrder(request))
        return found;
    auto cursor = std::make_unique<Cursor>(*this, layout(request.entity()),
                                           query(request, needsRows ? Wanted::Rows : Wanted::IDs), needsRows);
    return cursor->start(_readers.borrow(error), error) ? std::move(cursor) : nullptr;
}

std::optional<qint64> VXSQLiteStore::count(const VXFetchRequest &request, VXError *error)
{
    VXFetchRequest unordered = request;
    unordered.sortDescriptors.clear();
    const Query wanted = query(unordered, Wanted::Count);
    if (!wanted.isExact)
        return std::nullopt;
    const VXSQLiteConnectionPool::Lease connection = _readers.borrow(error);
    VXSQLiteStatement statement = connection ? connection->statement(wanted.sql, error) : VXSQLiteStatement();
    if (!statement)
        return std::nullopt;
    wanted.bind(statement);
    if (statement.step() != Step::Row) {
        VXSetError(error, connection->lastError());
        return std::nullopt;
    }
    const qint64 behindOffset = std::max<qint64>(0, statement.number(0) - request.offset);
    return request.limit > 0 ? std::min<qint64>(behindOffset, request.limit) : behindOffset;
}

std::optional<QList<VXAttributeNumber>> VXSQLiteStore::numbersBehind(qint64 afterNumber, qsizetype limit,
                                                                     const VXEntityDescription &entity,
                                                                     const VXAttributeDescription &attribute,
                                                                     VXError *error)
{
    const VXSQLiteRowLayout &rowLayout = layout(entity);
    QStringList conditions{u"t0.Z_PK > ?1"_s, entityCondition(VXFetchRequest(entity), _schema, true)};
    conditions.removeAll(QString());
    const QString sql = u"SELECT %1, t0.%2 FROM %3 t0 WHERE %4 ORDER BY t0.Z_PK LIMIT ?2"_s.arg(
        rowLayout.identityColumns(), VXSQLiteSchema::column(attribute), VXSQLiteSchema::table(entity),
        conditions.join(" AND "_L1));
    const VXSQLiteConnectionPool::Lease connection = _readers.borrow(error);
    VXSQLiteStatement statement = connection ? connection->statement(sql, error) : VXSQLiteStatement();
    if (!statement)
        return std::nullopt;
    statement.bindNumber(1, afterNumber);
    statement.bindNumber(2, limit);
    QList<VXAttributeNumber> found;
    found.reserve(limit);
    Step at = statement.step();
    for (; at == Step::Row; at = statement.step()) {
        VXFetchedRow fetched;
        if (!readFetched(rowLayout, statement, nullptr, &fetched, error))
            return std::nullopt;
        const VXSQLiteValue value = statement.value(2);
        found.append({fetched.objectID, value.isNull() ? std::nullopt : std::optional(value.number())});
    }
    if (at == Step::Failed) {
        VXSetError(error, connection->lastError());
        return std::nullopt;
    }
    return found;
}

VXStoreRow::Ptr VXSQLiteStore::row(const VXManagedObjectID &objectID, VXError *error)
{
    const VXSQLiteConnectionPool::Lease connection = _readers.borrow(error);
    return connection ? readRow(*connection, objectID, error) : nullptr;
}

bool VXSQLiteStore::rows(const QList<VXManagedObjectID> &objectIDs, const std::function<void(VXFetchedRow)> &sink,
                         VXError *error)
{
    QHash<const VXEntityDescription *, QList<VXManagedObjectID>> families;
    for (const VXManagedObjectID &objectID : objectIDs) {
        if (objectID.store() == &identity())
            families[&objectID.entity().rootEntity()].append(objectID);
    }
    for (auto family = families.cbegin(); family != families.cend(); ++family) {
        const bool isRead = family->size() == 1 ? VXPersistentStore::rows(*family, sink, error)
                                                : readRows(*family.key(), *family, sink, error);
        if (!isRead)
            return false;
    }
    return true;
}

bool VXSQLiteStore::readRows(const VXEntityDescription &root, const QList<VXManagedObjectID> &objectIDs,
                             const std::function<void(VXFetchedRow)> &sink, VXError *error)
{
    const VXObjectNumbers numbers(objectIDs, 1);
    const VXSQLiteRowLayout &rowLayout = layout(root);
    VXSQLiteRowReader reader(rowLayout, identity());
    const VXSQLiteConnectionPool::Lease connection = _readers.borrow(error);
    VXSQLiteStatement statement =
        connection ? connection->statement(rowLayout.query(numbers.wanted()), error) : VXSQLiteStatement();
    if (!statement)
        return false;
    numbers.bind(statement);
    reader.wantOnly(numbers);
    if (rowLayout.canHandOver())
        reader.bind(statement, VXSQLiteRowLayout::readerParameter);
    Step at = statement.step();
    for (; at == Step::Row; at = statement.step()) {
        if (numbers.find(statement.number(0)) == nullptr)
            continue;
        VXFetchedRow fetched;
        if (!readFetched(rowLayout, statement, &reader, &fetched, error))
            return false;
        sink(std::move(fetched));
    }
    if (at == Step::Failed)
        VXSetError(error, connection->lastError());
    return at == Step::Done;
}

// Reads the present row of a statement with the layout's columns.
bool VXSQLiteStore::readFetched(const VXSQLiteRowLayout &rowLayout, const VXSQLiteStatement &statement,
                                VXSQLiteRowReader *reader, VXFetchedRow *fetched, VXError *error) const
{
    QString problem;
    const bool isSound = reader == nullptr || reader->take(statement, fetched, &problem);
    if (reader == nullptr)
        *fetched = {rowLayout.readID(statement, identity()), nullptr};
    if (isSound && !fetched->objectID.isNull())
        return true;
    if (isSound)
        problem = u"An object is of an unknown entity, or has no number."_s;
    VXSetError(error, damage(problem));
    return false;
}

VXStoreRow::Ptr VXSQLiteStore::readRow(VXSQLiteConnection &connection, const VXManagedObjectID &objectID,
                                       VXError *error) const
{
    const VXSQLiteRowLayout &rowLayout = layout(objectID.entity());
    VXSQLiteRowReader reader(rowLayout, identity());
    VXSQLiteStatement statement = connection.statement(rowLayout.rowQuery(), error);
    if (!statement)
        return nullptr;
    statement.bindNumber(1, objectID.number());
    if (rowLayout.canHandOver())
        reader.bind(statement, VXSQLiteRowLayout::readerParameter);
    const Step at = statement.step();
    if (at == Step::Failed)
        VXSetError(error, connection.lastError());
    if (at != Step::Row)
        return nullptr;
    VXFetchedRow found; // has no ID if the number is that of an object of another entity
    QString problem;
    if (!reader.take(statement, &found, &problem))
        VXSetError(error, damage(problem));
    return found.row;
}

QString VXSQLiteStore::relatedQuery(const VXRelationshipDescription &relationship, const QString &wanted)
{
    const QString targets = VXSQLiteSchema::table(relationship.destination());
    if (!relationship.isManyToMany())
        return u"SELECT t0.Z_PK, t0.Z_ENT, t0.%1 FROM %2 t0 WHERE t0.%1 %3"_s.arg(
            VXSQLiteSchema::column(*relationship.inverse()), targets, wanted);
    const VXSQLiteLink link = VXSQLiteSchema::link(relationship);
    return u"SELECT t0.Z_PK, t0.Z_ENT, t1.%1 FROM %2 t1 JOIN %3 t0 ON t0.Z_PK = t1.%4 WHERE t1.%1 %5"_s.arg(
        link.source, link.table, targets, link.target, wanted);
}

bool VXSQLiteStore::related(
    const QList<VXManagedObjectID> &sources, const VXRelationshipDescription &relationship,
    const std::function<void(const VXManagedObjectID &source, const VXManagedObjectID &target)> &sink, VXError *error)
{
    if (sources.isEmpty())
        return true;
    const VXObjectNumbers numbers(sources);
    const VXSQLiteRowLayout &targetLayout = layout(relationship.destination());
    const VXSQLiteConnectionPool::Lease connection = _readers.borrow(error);
    VXSQLiteStatement statement =
        connection ? connection->statement(relatedQuery(relationship, numbers.wanted()), error) : VXSQLiteStatement();
    if (!statement)
        return false;
    numbers.bind(statement);
    Step at = statement.step();
    for (; at == Step::Row; at = statement.step()) {
        const VXManagedObjectID *const source = numbers.find(statement.number(2));
        if (source == nullptr)
            continue;
        const VXManagedObjectID target = targetLayout.readID(statement, identity());
        if (target.isNull()) {
            VXSetError(error, damage(u"\"%1\" leads to an object of another entity."_s.arg(relationship.name())));
            return false;
        }
        sink(*source, target);
    }
    if (at == Step::Failed)
        VXSetError(error, connection->lastError());
    return at == Step::Done;
}
