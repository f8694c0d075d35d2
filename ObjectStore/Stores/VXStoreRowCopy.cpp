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

constexpr int pieceSize = 20'000; // rows of one statement

VXSQLiteStore *asSQLite(VXPersistentStore &store)
{
    return store.type() == VXStoreType::SQLite ? static_cast<VXSQLiteStore *>(&store) : nullptr;
}

// The new file, with the old one beside it as "source". Null on failure.
std::unique_ptr<VXSQLiteConnection> openBoth(const QString &source, const QString &destination, VXError *error)
{
    auto connection = VXSQLiteConnection::open(destination, VXSQLiteConnection::Access::Write,
                                               VXStoreOptions().busyTimeout, nullptr, error);
    const bool isOpen = connection && connection->attach(source, u"source"_s, error) &&
                        connection->execute(u"PRAGMA synchronous = FULL"_s, error);
    return isOpen ? std::move(connection) : nullptr;
}

/** A table of pairs, in both files. */
struct LinkPlan
{
    VXSQLiteLink from;
    VXSQLiteLink to;
    const VXRelationshipDescription *relationship;
};

} // namespace

/** What is found out once, for copying and comparing. */
class VXStoreRowCopy::Plan
{
public:
    Plan(VXSQLiteStore &source, VXSQLiteStore &destination) : _source(source), _destination(destination) {}

    QString obstacle(QList<Entity> *entities);
    bool copy(VXSQLiteConnection &connection, const Progress &progress, VXError *error);
    bool compare(VXSQLiteConnection &connection, const Progress &progress, QString *difference, VXError *error);

private:
    struct EntityPlan
    {
        VXEntityRowPlan rows;
        qint64 count = 0;
        qint64 first = 0;
        qint64 last = 0;
    };

    QString surveyEntity(VXSQLiteConnection &connection, const VXEntityDescription &from, QList<Entity> *entities);
    QString obstacleInLists(VXSQLiteConnection &connection, const EntityPlan &plan) const;
    void findLinks();
    QString obstacleInNumbers(VXSQLiteConnection &connection) const;
    static bool findBrokenReference(VXSQLiteStore &store, QString *description, VXError *error);
    bool copyNumbers(VXSQLiteConnection &connection, VXError *error) const;
    template <class Each>
    static bool forEachPiece(VXSQLiteConnection &connection, const EntityPlan &plan, const QString &sql,
                             const Each &each, VXError *error);

    VXSQLiteStore &_source;
    VXSQLiteStore &_destination;
    std::vector<EntityPlan> _entities; // those that have objects
    QList<LinkPlan> _links;
};

VXStoreRowCopy::VXStoreRowCopy(VXPersistentStore &source, VXPersistentStore &destination)
    : _source(asSQLite(source)), _destination(asSQLite(destination))
{
}

VXStoreRowCopy::~VXStoreRowCopy() = default;

QString VXStoreRowCopy::obstacle()
{
    _plan.reset();
    _entities.clear();
    if (_source == nullptr || _destination == nullptr)
        return u"the stores are not both SQLite files"_s;
    if (VXSQLiteFile::accessForReaders(_source->path()) != VXSQLiteConnection::Access::Query)
        return u"the old store lies where nothing can be written"_s; // nor can SQLite keep its locks there
    auto plan = std::make_unique<Plan>(*_source, *_destination);
    QString obstacle = plan->obstacle(&_entities);
    if (obstacle.isNull())
        _plan = std::move(plan);
    return obstacle;
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

// -- Finding out

QString VXStoreRowCopy::Plan::obstacle(QList<Entity> *entities)
{
    VXError error;
    const auto connection = openBoth(_source.path(), _destination.path(), &error);
    if (!connection)
        return error.description();
    QString found = obstacleInNumbers(*connection);
    for (const VXEntityDescription *const entity : _source.model().entities()) {
        if (found.isNull() && !entity->isAbstract())
            found = surveyEntity(*connection, *entity, entities);
    }
    for (Entity &entity : *entities) {
        for (const VXEntityDescription *const each : _source.model().entityForName(entity.name)->family()) {
            const auto other = std::ranges::find(*entities, each->name(), &Entity::name);
            entity.countOfFamily += other == entities->end() ? 0 : other->count;
        }
    }
    if (!found.isNull())
        return found;
    findLinks();
    return findBrokenReference(_source, &found, &error) ? found : error.description();
}

// The new store has given no numbers so far, so that objects can keep theirs; and all old rows are of entities there are.
QString VXStoreRowCopy::Plan::obstacleInNumbers(VXSQLiteConnection &connection) const
{
    QStringList hasAny{u"EXISTS (SELECT 1 FROM main.Z_PRIMARYKEY)"_s};
    for (const VXEntityDescription *const entity : _destination.model().entities()) {
        if (entity->superentity() == nullptr)
            hasAny.append(u"EXISTS (SELECT 1 FROM main.%1)"_s.arg(VXSQLiteSchema::table(*entity)));
    }
    VXError error;
    if (connection.textOf("SELECT "_L1 + hasAny.join(" OR "_L1), &error) != "0"_L1)
        return error ? error.description() : u"the new store is not empty"_s;
    for (const VXEntityDescription *const entity : _source.model().entities()) {
        if (entity->superentity() != nullptr)
            continue;
        QStringList numbers;
        for (const VXEntityDescription *const each : entity->family()) {
            if (!each->isAbstract())
                numbers.append(QString::number(_source._schema.entityNumber(*each)));
        }
        const QString sql =
            u"SELECT EXISTS (SELECT 1 FROM source.%1 WHERE Z_PK < 1 OR Z_PK > %2 OR Z_ENT NOT IN (%3))"_s
                .arg(VXSQLiteSchema::table(*entity))
                .arg(VXLargestStoreNumber)
                .arg(numbers.join(u','));
        if (connection.textOf(sql, &error) != "0"_L1)
            return error ? error.description() : u"a row of \"%1\" is of no object that can be"_s.arg(entity->name());
    }
    return {};
}

QString VXStoreRowCopy::Plan::surveyEntity(VXSQLiteConnection &connection, const VXEntityDescription &from,
                                           QList<Entity> *entities)
{
    const VXEntityDescription *const found = _destination.model().entityForName(from.name());
    const bool isThere = found != nullptr && !found->isAbstract();
    EntityPlan plan{
        .rows = {from, _source._schema, isThere ? *found : from, isThere ? _destination._schema : _source._schema}};
    VXError error;
    VXSQLiteStatement survey = connection.statement(plan.rows.survey(), &error);
    for (qsizetype i = 0; survey && i < plan.rows.constants().size(); ++i)
        survey.bindValue(int(i) + 3, plan.rows.constants()[i]);
    if (!survey || survey.step() != Step::Row)
        return error ? error.description() : connection.lastError().description();
    Entity told{.name = from.name(), .count = survey.number(0)};
    plan.count = told.count;
    plan.first = survey.number(1);
    plan.last = survey.number(2);
    if (plan.count > 0 && !isThere)
        return u"the new model has no objects of \"%1\""_s.arg(from.name());
    if (plan.count > 0 && !plan.rows.obstacle().isNull())
        return plan.rows.obstacle();
    if (plan.count > 0 && survey.number(3) > 0)
        return u"an object of \"%1\" has a value that the new model does not allow"_s.arg(from.name());
    for (qsizetype i = 0; i < plan.rows.droppable().size(); ++i) {
        if (survey.number(int(i) + 4) != 0)
            told.dropped.append(plan.rows.droppable()[i]);
    }
    entities->append(told);
    const QString obstacle = plan.count > 0 ? obstacleInLists(connection, plan) : QString();
    if (plan.count > 0)
        _entities.push_back(std::move(plan));
    return obstacle;
}

QString VXStoreRowCopy::Plan::obstacleInLists(VXSQLiteConnection &connection, const EntityPlan &plan) const
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
        }
        if (at == Step::Failed)
            return connection.lastError().description();
    }
    return {};
}

void VXStoreRowCopy::Plan::findLinks()
{
    QSet<QString> tables;
    for (const EntityPlan &plan : _entities) {
        for (const VXRelationshipDescription *const made : plan.rows.to().relationships()) {
            const VXRelationshipDescription *const old = plan.rows.from().relationshipForName(made->name());
            if (old == nullptr || made->isTransient() || !made->isManyToMany())
                continue;
            const LinkPlan link{VXSQLiteSchema::link(*old), VXSQLiteSchema::link(*made), old};
            if (!tables.contains(link.to.table))
                _links.append(link);
            tables.insert(link.to.table);
        }
    }
}

// The first one; null when there is none.
bool VXStoreRowCopy::Plan::findBrokenReference(VXSQLiteStore &store, QString *description, VXError *error)
{
    QList<VXBrokenReference> broken;
    const VXSQLiteConnectionPool::Lease reader = store._readers.borrow(error);
    for (const VXEntityDescription *const entity : store.model().entities()) {
        for (const VXRelationshipDescription *const each : entity->relationships()) {
            if (&each->entity() != entity || each->isTransient() || (each->isToMany() && !each->isManyToMany()))
                continue;
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
bool VXStoreRowCopy::Plan::forEachPiece(VXSQLiteConnection &connection, const EntityPlan &plan, const QString &sql,
                                        const Each &each, VXError *error)
{
    const QString end = u"SELECT MAX(Z_PK) FROM (SELECT Z_PK FROM source.%1 WHERE Z_PK >= ?1 ORDER BY Z_PK LIMIT %2)"_s
                            .arg(VXSQLiteSchema::table(plan.rows.from()))
                            .arg(pieceSize);
    for (qint64 first = plan.first; first <= plan.last;) {
        VXSQLiteStatement ending = connection.statement(end, error);
        VXSQLiteStatement piece = connection.statement(sql, error);
        if (!ending || !piece)
            return false;
        ending.bindNumber(1, first);
        if (ending.step() != Step::Row) {
            VXSetError(error, connection.lastError());
            return false;
        }
        const qint64 last = std::min(ending.number(0), plan.last);
        piece.bindNumber(1, first);
        piece.bindNumber(2, last);
        for (qsizetype i = 0; i < plan.rows.constants().size(); ++i)
            piece.bindValue(int(i) + 3, plan.rows.constants()[i]);
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
    for (const EntityPlan &plan : _entities) {
        if (!forEachPiece(connection, plan, plan.rows.insertion(), insert, error))
            return false;
    }
    for (const LinkPlan &link : std::as_const(_links)) {
        const QString sql = u"INSERT INTO main.%1 (%2, %3) SELECT %4, %5 FROM source.%6"_s.arg(
            link.to.table, link.to.source, link.to.target, link.from.source, link.from.target, link.from.table);
        if (!connection.execute(sql, error) || !progress(0))
            return false;
    }
    return copyNumbers(connection, error);
}

// No object gets a number that one had before, be it gone by now.
bool VXStoreRowCopy::Plan::copyNumbers(VXSQLiteConnection &connection, VXError *error) const
{
    VXSQLiteStatement statement = connection.statement(
        u"INSERT INTO main.Z_PRIMARYKEY (Z_NAME, Z_MAX) VALUES (?1, MAX(?2, IFNULL((SELECT Z_MAX FROM "
        u"source.Z_PRIMARYKEY "
        "WHERE Z_NAME = ?3), 0))) ON CONFLICT (Z_NAME) DO UPDATE SET Z_MAX = MAX(Z_MAX, excluded.Z_MAX)"_s,
        error);
    return statement && std::ranges::all_of(_entities, [&](const EntityPlan &plan) {
               statement.bindText(1, plan.rows.to().rootEntity().name());
               statement.bindNumber(2, plan.last);
               statement.bindText(3, plan.rows.from().rootEntity().name());
               if (statement.run())
                   return true;
               VXSetError(error, connection.lastError());
               return false;
           });
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
        if (!forEachPiece(connection, plan, plan.rows.comparison(), look, error))
            return !difference->isNull();
        const QString count = connection.textOf(
            u"SELECT COUNT(*) FROM main.%1 WHERE Z_ENT = %2"_s.arg(VXSQLiteSchema::table(plan.rows.to()))
                .arg(_destination._schema.entityNumber(plan.rows.to())),
            error);
        if (count.isNull())
            return false;
        if (count.toLongLong() != plan.count) {
            *difference = u"%1: %2 objects of %3"_s.arg(plan.rows.from().name(), count).arg(plan.count);
            return true;
        }
    }
    for (const LinkPlan &link : std::as_const(_links)) {
        const QString pairs = u"SELECT %1, %2 FROM %3.%4"_s;
        const QString old = pairs.arg(link.from.source, link.from.target, u"source"_s, link.from.table);
        const QString made = pairs.arg(link.to.source, link.to.target, u"main"_s, link.to.table);
        const QString sql = u"SELECT EXISTS (%1 EXCEPT %2) OR EXISTS (%2 EXCEPT %1)"_s.arg(old, made);
        const QString differs = connection.textOf(sql, error);
        if (differs.isNull() || !progress(0))
            return false;
        if (differs != "0"_L1) {
            *difference = link.relationship->entity().name() + u'.' + link.relationship->name();
            return true;
        }
    }
    // The pairs being the same ones, they could lead to what was not copied.
    return findBrokenReference(_destination, difference, error);
}
