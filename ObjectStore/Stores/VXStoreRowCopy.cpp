#include "VXStoreRowCopy.h"

#include "VXPropertyList.h"
#include "VXSaveReferences.h"
#include "VXSQLiteStore.h"
#include "VXStoreRowCopyPlan.h"

#include <algorithm>
#include <vector>

using namespace Qt::StringLiterals;

using Step = VXSQLiteStatement::Step;

namespace {

constexpr int pieceSize = 20'000; // rows per statement
constexpr int stepsOfRow = 4;     // of SQLite, when it copies a row unchanged
constexpr int rowsAtOnce = 5'000; // between reports of progress

const QString ended = u"it was to end"_s;

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

/** Rows of a table of the old file, ordered by a column of numbers. */
struct Range
{
    QString table;
    QString column;
    qint64 count = 0;
    qint64 first = 0;
    qint64 last = -1;
};

/** A table of pairs in both files. */
struct LinkPlan
{
    Range from; // by Z_SOURCE
    QString to;
    QString source; // the column of the new table for Z_SOURCE of the old one
    QString target;
    const VXRelationshipDescription *relationship;
};

} // namespace

/** What is determined once, for copying and comparing. */
class VXStoreRowCopy::Plan
{
public:
    Plan(VXSQLiteStore &source, VXSQLiteStore &destination, const Filter &leavesOut)
        : _source(source), _destination(destination), _leavesOut(leavesOut)
    {
    }

    QString obstacle(const Progress &progress, QList<Entity> *entities);
    qint64 rowCount() const;
    bool copy(VXSQLiteConnection &connection, const Progress &progress, VXError *error);
    bool compare(VXSQLiteConnection &connection, const Progress &progress, QString *difference, VXError *error);

private:
    struct EntityPlan
    {
        VXEntityRowPlan rows;
        Range from = {};
    };

    QString surveyEntity(VXSQLiteConnection &connection, const VXEntityDescription &from, const Progress &progress,
                         QList<Entity> *entities);
    static QString obstacleInLists(VXSQLiteConnection &connection, const EntityPlan &plan, const Progress &progress);
    bool findLinks(VXSQLiteConnection &connection, VXError *error);
    QString obstacleInDestination(VXSQLiteConnection &connection) const;
    QString obstacleInRows(VXSQLiteConnection &connection, const QList<Entity> &entities) const;
    static bool findBrokenReference(VXSQLiteStore &store, bool looksAtRows, const Progress &progress,
                                    QString *description, VXError *error);
    std::optional<bool> isCopiedWhole(VXSQLiteConnection &connection, const VXEntityDescription &root,
                                      VXError *error) const;
    bool copyWhole(VXSQLiteConnection &connection, const VXEntityDescription &root, const Progress &progress,
                   VXError *error) const;
    bool copyNumbers(VXSQLiteConnection &connection, VXError *error) const;
    bool compareLinks(VXSQLiteConnection &connection, const LinkPlan &link, const Progress &progress,
                      QString *difference, VXError *error) const;
    template <class Each>
    static bool forEachPiece(VXSQLiteConnection &connection, const Range &range, const QVariantList &constants,
                             const QString &sql, const Each &each, VXError *error);

    VXSQLiteStore &_source;
    VXSQLiteStore &_destination;
    const Filter &_leavesOut;
    std::vector<EntityPlan> _entities; // entities that have objects
    QList<LinkPlan> _links;
};

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
        return u"the old store lies where nothing can be written"_s; // SQLite cannot keep its locks there either
    auto plan = std::make_unique<Plan>(*_source, *_destination, _leavesOut);
    QString obstacle = plan->obstacle(progress, &_entities);
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

// -- Examination

QString VXStoreRowCopy::Plan::obstacle(const Progress &progress, QList<Entity> *entities)
{
    VXError error;
    const auto connection = openBoth(_source.path(), _destination.path(), &error);
    if (!connection)
        return error.description();
    QString found = obstacleInDestination(*connection);
    for (const VXEntityDescription *const entity : _source.model().entities()) {
        if (found.isNull() && !entity->isAbstract())
            found = surveyEntity(*connection, *entity, progress, entities);
    }
    if (found.isNull())
        found = obstacleInRows(*connection, *entities);
    for (Entity &entity : *entities) {
        for (const VXEntityDescription *const each : _source.model().entityForName(entity.name)->family()) {
            const auto other = std::ranges::find(*entities, each->name(), &Entity::name);
            entity.countOfFamily += other == entities->end() ? 0 : other->count;
        }
    }
    if (!found.isNull())
        return found;
    if (findLinks(*connection, &error) && findBrokenReference(_source, true, progress, &found, &error))
        return found;
    return error ? error.description() : ended;
}

// Requires that the new store has given out no numbers, so that objects can keep theirs.
QString VXStoreRowCopy::Plan::obstacleInDestination(VXSQLiteConnection &connection) const
{
    QStringList hasAny{u"EXISTS (SELECT 1 FROM main.Z_PRIMARYKEY)"_s};
    for (const VXEntityDescription *const entity : _destination.model().entities()) {
        if (entity->superentity() == nullptr)
            hasAny.append(u"EXISTS (SELECT 1 FROM main.%1)"_s.arg(VXSQLiteSchema::table(*entity)));
    }
    VXError error;
    if (connection.textOf("SELECT "_L1 + hasAny.join(" OR "_L1), &error) != "0"_L1)
        return error ? error.description() : u"the new store is not empty"_s;
    return {};
}

// Requires that all old rows are of existing entities, and were counted with these.
QString VXStoreRowCopy::Plan::obstacleInRows(VXSQLiteConnection &connection, const QList<Entity> &entities) const
{
    QHash<const VXEntityDescription *, qint64> counts; // by root
    for (const Entity &entity : entities)
        counts[&_source.model().entityForName(entity.name)->rootEntity()] += entity.count;
    const auto isNoNumber = [](const Range &range) { return range.first < 1 || range.last > VXLargestStoreNumber; };
    const auto outside = std::ranges::find_if(_entities, [&](const EntityPlan &plan) { return isNoNumber(plan.from); });
    QString damaged = outside == _entities.end() ? QString() : outside->rows.from().name();
    for (const VXEntityDescription *const entity : _source.model().entities()) {
        if (!damaged.isNull() || entity->superentity() != nullptr)
            continue;
        VXError error;
        const QString count =
            connection.textOf("SELECT COUNT(*) FROM source."_L1 + VXSQLiteSchema::table(*entity), &error);
        if (error)
            return error.description();
        if (count.toLongLong() != counts.value(entity))
            damaged = entity->name();
    }
    return damaged.isNull() ? QString() : u"a row of \"%1\" is of no object that can be"_s.arg(damaged);
}

QString VXStoreRowCopy::Plan::surveyEntity(VXSQLiteConnection &connection, const VXEntityDescription &from,
                                           const Progress &progress, QList<Entity> *entities)
{
    const VXEntityDescription *const found = _destination.model().entityForName(from.name());
    const bool isThere = found != nullptr && !found->isAbstract();
    EntityPlan plan{.rows = {from, _source._schema, isThere ? *found : from,
                             isThere ? _destination._schema : _source._schema, _leavesOut}};
    if (!progress(0))
        return ended;
    VXError error;
    VXSQLiteStatement survey = connection.statement(plan.rows.survey(), &error);
    if (!survey || survey.step() != Step::Row)
        return error ? error.description() : connection.lastError().description();
    Entity told{
        .name = from.name(), .count = survey.number(0), .left = plan.rows.left(), .unfilled = plan.rows.unfilled()};
    plan.from = {VXSQLiteSchema::table(from), u"Z_PK"_s, told.count, survey.number(1), survey.number(2)};
    if (told.count > 0 && !isThere)
        return u"the new model has no objects of \"%1\""_s.arg(from.name());
    if (told.count > 0 && !plan.rows.obstacle().isNull())
        return plan.rows.obstacle();
    if (told.count > 0 && survey.number(3) > 0)
        return u"an object of \"%1\" has a value that the new model does not allow"_s.arg(from.name());
    if (survey.number(4) == 0)
        plan.rows.leaveOutDefaults();
    for (qsizetype i = 0; i < plan.rows.droppable().size(); ++i) {
        if (survey.number(int(i) + 5) != 0)
            told.dropped.append(plan.rows.droppable()[i]);
    }
    entities->append(told);
    for (const QString &sql : {plan.rows.insertion(), plan.rows.comparison()}) {
        // some models need more than SQL can express in a statement
        if (told.count > 0 && !connection.statement(sql, &error))
            return error.description();
    }
    const QString obstacle = told.count > 0 ? obstacleInLists(connection, plan, progress) : QString();
    if (told.count > 0)
        _entities.push_back(std::move(plan));
    return obstacle;
}

QString VXStoreRowCopy::Plan::obstacleInLists(VXSQLiteConnection &connection, const EntityPlan &plan,
                                              const Progress &progress)
{
    for (const QString &column : plan.rows.propertyLists()) {
        VXError error;
        VXSQLiteStatement lists = connection.statement(
            u"SELECT %1 FROM source.%2 s WHERE %1 IS NOT NULL"_s.arg(column, VXSQLiteSchema::table(plan.rows.from())),
            &error);
        Step at = lists ? lists.step() : Step::Failed;
        for (; at == Step::Row; at = lists.step()) {
            if (!VXPropertyList::fromData(lists.data(0), &error).isValid())
                return error.description();
            if (!progress(0))
                return ended;
        }
        if (at == Step::Failed)
            return connection.lastError().description();
    }
    return {};
}

bool VXStoreRowCopy::Plan::findLinks(VXSQLiteConnection &connection, VXError *error)
{
    QSet<QString> tables;
    for (const EntityPlan &plan : _entities) {
        for (const VXRelationshipDescription *const made : plan.rows.to().relationships()) {
            const VXRelationshipDescription *const old = plan.rows.from().relationshipForName(made->name());
            if (old == nullptr || made->isTransient() || !made->isManyToMany())
                continue;
            const VXSQLiteLink from = VXSQLiteSchema::link(*old);
            const VXSQLiteLink to = VXSQLiteSchema::link(*made);
            if (tables.contains(to.table))
                continue;
            tables.insert(to.table);
            VXSQLiteStatement count = connection.statement(
                u"SELECT COUNT(*), MIN(Z_SOURCE), MAX(Z_SOURCE) FROM source.%1"_s.arg(from.table), error);
            if (!count || count.step() != Step::Row) {
                VXSetError(error, connection.lastError());
                return false;
            }
            const bool isAlike = from.source == "Z_SOURCE"_L1;
            _links.append({{from.table, u"Z_SOURCE"_s, count.number(0), count.number(1), count.number(2)},
                           to.table,
                           isAlike ? to.source : to.target,
                           isAlike ? to.target : to.source,
                           old});
        }
    }
    return true;
}

qint64 VXStoreRowCopy::Plan::rowCount() const
{
    qint64 count = 0;
    for (const EntityPlan &plan : _entities)
        count += plan.from.count;
    for (const LinkPlan &link : _links)
        count += link.from.count;
    return count;
}

// Finds the first broken reference, null for none; in tables of pairs, and with `looksAtRows` in rows as well.
bool VXStoreRowCopy::Plan::findBrokenReference(VXSQLiteStore &store, bool looksAtRows, const Progress &progress,
                                               QString *description, VXError *error)
{
    QList<VXBrokenReference> broken;
    const VXSQLiteConnectionPool::Lease reader = store._readers.borrow(error);
    for (const VXEntityDescription *const entity : store.model().entities()) {
        for (const VXRelationshipDescription *const each : entity->relationships()) {
            if (&each->entity() != entity || each->isTransient() ||
                !(each->isManyToMany() || (looksAtRows && !each->isToMany())))
                continue;
            if (!progress(0))
                return false;
            const QString oneSided = VXSQLiteStore::oneSidedQuery(*each);
            if (!reader || !store.findMissingTargets(*each, &broken, error) ||
                (!oneSided.isNull() && !store.addReferences(*reader, *each, oneSided, true, &broken, error)))
                return false;
        }
    }
    if (!broken.isEmpty())
        *description = broken.constFirst().description();
    return true;
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
