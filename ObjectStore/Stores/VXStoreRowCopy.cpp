#include "VXStoreRowCopy+Plan.h"

#include <algorithm>

using namespace Qt::StringLiterals;

using Step = VXSQLiteStatement::Step;

namespace {

constexpr int pieceSize = 20'000; // rows per statement
constexpr int stepsOfRow = 4;     // of SQLite, when it copies a row unchanged
constexpr int rowsAtOnce = 5'000; // between reports of progress

VXSQLiteStore *asSQLite(VXPersistentStore &store)
{
    return store.type() == VXStoreType::SQLite ? static_cast<VXSQLiteStore *>(&store) : nullptr;
}

// Opens the new file, with the old one attached as "source". Null on failure.
std::unique_ptr<VXSQLiteConnection> openBoth(const QString &source, const QString &destination, VXError *error)
{
    auto connection = VXSQLiteConnection::open(destination, VXSQLiteConnection::Access::Write,
                                               VXStoreOptions().busyTimeout, nullptr, error);
    const bool isOpen = connection && connection->attach(source, u"source"_s, error) &&
                        connection->execute(u"PRAGMA synchronous = FULL"_s, error);
    return isOpen ? std::move(connection) : nullptr;
}

} // namespace

VXStoreRowCopy::VXStoreRowCopy(VXPersistentStore &source, VXPersistentStore &destination, const Filter &leavesOut)
    : _source(asSQLite(source)), _destination(asSQLite(destination)), _leavesOut(leavesOut)
{
}

VXStoreRowCopy::~VXStoreRowCopy() = default;

QString VXStoreRowCopy::obstacle(const Progress &progress)
{
    _plan.reset();
    _entities.clear();
    if (_source == nullptr || _destination == nullptr)
        return u"the stores are not both SQLite files"_s;
    if (VXSQLiteFile::accessForReaders(_source->path()) != VXSQLiteConnection::Access::Query)
        return u"the old store lies where nothing can be written"_s; // nor can SQLite keep its locks there
    VXError error;
    const auto connection = openBoth(_source->path(), _destination->path(), &error);
    if (!connection)
        return error.description();
    auto plan = std::make_unique<Plan>(*_source, *_destination, _leavesOut);
    QString obstacle = plan->obstacle(*connection, progress, &_entities);
    if (obstacle.isNull())
        _plan = std::move(plan);
    return obstacle;
}

qint64 VXStoreRowCopy::rowCount() const
{
    return _plan ? _plan->rowCount() : 0;
}

bool VXStoreRowCopy::perform(const Progress &progress, VXError *error)
{
    const auto connection = _plan ? openBoth(_source->path(), _destination->path(), error) : nullptr;
    if (!connection || !connection->execute(u"BEGIN IMMEDIATE"_s, error))
        return false;
    if (_plan->copy(*connection, progress, error) && connection->execute(u"COMMIT"_s, error))
        return true;
    if (connection->isInTransaction())
        connection->execute(u"ROLLBACK"_s, nullptr);
    return false;
}

bool VXStoreRowCopy::compare(const Progress &progress, QString *difference, VXError *error)
{
    const auto connection = _plan ? openBoth(_source->path(), _destination->path(), error) : nullptr;
    return connection && _plan->compare(*connection, progress, difference, error);
}

// -- Copying and comparing

template <class Each>
bool VXStoreRowCopy::Plan::forEachPiece(VXSQLiteConnection &connection, const Range &range,
                                        const QVariantList &constants, const QString &sql, const Each &each,
                                        VXError *error)
{
    const QString end = u"SELECT MAX(%1) FROM (SELECT %1 FROM source.%2 WHERE %1 >= ?1 ORDER BY %1 LIMIT %3)"_s
                            .arg(range.column, range.table)
                            .arg(pieceSize);
    for (qint64 first = range.first; range.count > 0 && first <= range.last;) {
        VXSQLiteStatement ending = connection.statement(end, error);
        VXSQLiteStatement piece = connection.statement(sql, error);
        if (!ending || !piece)
            return false;
        ending.bindNumber(1, first);
        if (ending.step() != Step::Row) {
            VXSetError(error, connection.lastError());
            return false;
        }
        const qint64 last = std::min(ending.number(0), range.last);
        piece.bindNumber(1, first);
        piece.bindNumber(2, last);
        for (qsizetype i = 0; i < constants.size(); ++i)
            piece.bindValue(int(i) + 3, constants[i]);
        if (!each(piece))
            return false;
        first = last + 1;
    }
    return true;
}

bool VXStoreRowCopy::Plan::copy(VXSQLiteConnection &connection, const Progress &progress, VXError *error)
{
    const auto insert = [&](VXSQLiteStatement &piece) {
        if (piece.run())
            return progress(connection.changes());
        VXSetError(error, connection.lastError());
        return false;
    };
    QHash<const VXEntityDescription *, bool> roots; // whether their tables are copied as a whole
    for (const EntityPlan &plan : _entities) {
        const VXEntityDescription &root = plan.rows.from().rootEntity();
        if (!roots.contains(&root)) {
            const std::optional<bool> isWhole = isCopiedWhole(connection, root, error);
            if (!isWhole || (*isWhole && !copyWhole(connection, root, progress, error)))
                return false;
            roots.insert(&root, *isWhole);
        }
        if (!roots.value(&root) &&
            !forEachPiece(connection, plan.from, plan.rows.constants(), plan.rows.insertion(), insert, error))
            return false;
    }
    for (const LinkPlan &link : std::as_const(_links)) {
        const QString sql =
            u"INSERT INTO main.%1 (%2, %3) SELECT Z_SOURCE, Z_TARGET FROM source.%4 "
            "WHERE Z_SOURCE BETWEEN ?1 AND ?2"_s.arg(link.to, link.source, link.target, link.from.table);
        if (!forEachPiece(connection, link.from, {}, sql, insert, error))
            return false;
    }
    return copyNumbers(connection, error);
}

// If both tables are equal, and rows mean the same, SQLite copies rows without decoding them. Rows then keep their
// versions.
std::optional<bool> VXStoreRowCopy::Plan::isCopiedWhole(VXSQLiteConnection &connection, const VXEntityDescription &root,
                                                        VXError *error) const
{
    const auto isAlike = [&](const EntityPlan &plan) {
        return &plan.rows.from().rootEntity() != &root || plan.rows.isIdentical();
    };
    if (!std::ranges::all_of(_entities, isAlike))
        return false;
    VXError problem;
    QString name = VXSQLiteSchema::table(root);
    name = name.sliced(1, name.size() - 2); // without the quotation marks
    const QString count = connection.textOf(u"SELECT COUNT(*) FROM main.sqlite_master m JOIN source.sqlite_master s "
                                            "USING (name, sql) WHERE m.type = 'table' AND name = '%1'"_s.arg(name),
                                            &problem);
    if (!problem)
        return count == "1"_L1;
    VXSetError(error, problem);
    return std::nullopt;
}

bool VXStoreRowCopy::Plan::copyWhole(VXSQLiteConnection &connection, const VXEntityDescription &root,
                                     const Progress &progress, VXError *error) const
{
    qint64 rest = 0;
    for (const EntityPlan &plan : _entities)
        rest += &plan.rows.from().rootEntity() == &root ? plan.from.count : 0;
    const auto tell = [&] {
        const qint64 rows = std::min<qint64>(rest, rowsAtOnce);
        rest -= rows;
        return progress(rows);
    };
    return connection.execute(u"INSERT INTO main.%1 SELECT * FROM source.%1"_s.arg(VXSQLiteSchema::table(root)),
                              rowsAtOnce * stepsOfRow, tell, error) &&
           progress(rest);
}

// So that no object gets a number that one of its family had before, even a deleted one.
bool VXStoreRowCopy::Plan::copyNumbers(VXSQLiteConnection &connection, VXError *error) const
{
    for (const VXEntityDescription *const root : _source.model().entities()) {
        const VXEntityDescription *const made = _destination.model().entityForName(root->name());
        if (root->superentity() != nullptr || made == nullptr || made->superentity() != nullptr)
            continue;
        VXSQLiteStatement statement = connection.statement(
            u"INSERT INTO main.Z_PRIMARYKEY (Z_NAME, Z_MAX) SELECT ?1, MAX(IFNULL((SELECT MAX(Z_PK) FROM main.%1), 0), "
            "IFNULL((SELECT Z_MAX FROM source.Z_PRIMARYKEY WHERE Z_NAME = ?1), 0))"_s.arg(VXSQLiteSchema::table(*made)),
            error);
        if (!statement)
            return false;
        statement.bindText(1, root->name());
        if (!statement.run()) {
            VXSetError(error, connection.lastError());
            return false;
        }
    }
    return true;
}

bool VXStoreRowCopy::Plan::compare(VXSQLiteConnection &connection, const Progress &progress, QString *difference,
                                   VXError *error)
{
    for (const EntityPlan &plan : _entities) {
        const auto look = [&](VXSQLiteStatement &piece) {
            switch (piece.step()) {
            case Step::Row:
                *difference = u"%1 %2"_s.arg(plan.rows.from().name()).arg(piece.number(0));
                return false;
            case Step::Done:
                return progress(pieceSize);
            case Step::Failed:
                break;
            }
            VXSetError(error, connection.lastError());
            return false;
        };
        if (!forEachPiece(connection, plan.from, plan.rows.constants(), plan.rows.comparison(), look, error))
            return !difference->isNull();
        const QString count = connection.textOf(
            u"SELECT COUNT(*) FROM main.%1 WHERE Z_ENT = %2"_s.arg(VXSQLiteSchema::table(plan.rows.to()))
                .arg(_destination._schema.entityNumber(plan.rows.to())),
            error);
        if (count.isNull())
            return false;
        if (count.toLongLong() != plan.from.count) {
            *difference = u"%1: %2 objects of %3"_s.arg(plan.rows.from().name(), count).arg(plan.from.count);
            return true;
        }
    }
    for (const LinkPlan &link : std::as_const(_links)) {
        if (!compareLinks(connection, link, progress, difference, error))
            return false;
        if (!difference->isNull())
            return true;
    }
    // Rows refer to the same objects as before, which were counted; equal pairs could refer to objects that were not
    // copied.
    return findBrokenReference(_destination, false, progress, difference, error);
}

// Compares the numbers of pairs, and finds each old pair in the new table; no table has duplicates.
bool VXStoreRowCopy::Plan::compareLinks(VXSQLiteConnection &connection, const LinkPlan &link, const Progress &progress,
                                        QString *difference, VXError *error) const
{
    const QString count = connection.textOf(u"SELECT COUNT(*) FROM main."_s + link.to, error);
    if (count.isNull())
        return false;
    bool differs = count.toLongLong() != link.from.count;
    const auto look = [&](VXSQLiteStatement &piece) {
        const Step at = piece.step();
        if (at == Step::Failed)
            VXSetError(error, connection.lastError());
        differs = differs || at == Step::Row;
        return at == Step::Done && progress(pieceSize);
    };
    const QString sql = u"SELECT 1 FROM source.%1 s WHERE s.Z_SOURCE BETWEEN ?1 AND ?2 AND NOT EXISTS "
                        "(SELECT 1 FROM main.%2 d WHERE d.%3 = s.Z_SOURCE AND d.%4 = s.Z_TARGET) LIMIT 1"_s.arg(
                            link.from.table, link.to, link.source, link.target);
    if (!differs && !forEachPiece(connection, link.from, {}, sql, look, error) && !differs)
        return false;
    if (differs)
        *difference = link.relationship->entity().name() + u'.' + link.relationship->name();
    return true;
}
