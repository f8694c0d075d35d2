#include "VXPropertyList.h"
#include "VXSaveReferences.h"
#include "VXStoreRowCopy+Plan.h"

#include <algorithm>

using namespace Qt::StringLiterals;

using Step = VXSQLiteStatement::Step;

namespace {

const QString ended = u"it was to end"_s;

} // namespace

QString VXStoreRowCopy::Plan::obstacle(VXSQLiteConnection &connection, const Progress &progress,
                                       QList<Entity> *entities)
{
    QString found = obstacleInDestination(connection);
    for (const VXEntityDescription *const entity : _source.model().entities()) {
        if (found.isNull() && !entity->isAbstract())
            found = surveyEntity(connection, *entity, progress, entities);
    }
    if (found.isNull())
        found = obstacleInRows(connection, *entities);
    for (Entity &entity : *entities) {
        for (const VXEntityDescription *const each : _source.model().entityForName(entity.name)->family()) {
            const auto other = std::ranges::find(*entities, each->name(), &Entity::name);
            entity.countOfFamily += other == entities->end() ? 0 : other->count;
        }
    }
    if (!found.isNull())
        return found;
    VXError error;
    if (findLinks(connection, &error) && findBrokenReference(_source, true, progress, &found, &error))
        return found;
    return error ? error.description() : ended;
}

// The new store has given no numbers so far, so that objects can keep theirs.
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

// All old rows are of entities there are, and were counted with these.
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
        if (told.count > 0 && !connection.statement(sql, &error)) // some models have more than SQL can say at once
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

// The first one; null when there is none. Those of tables of pairs, and of rows as well.
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
