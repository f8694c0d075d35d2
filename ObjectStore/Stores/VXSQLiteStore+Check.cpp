#include "VXSQLiteStore.h"

using namespace Qt::StringLiterals;

using Step = VXSQLiteStatement::Step;

namespace {

// References that lead nowhere: the identity of the source, and the number they hold.
QString referenceQuery(const VXRelationshipDescription &relationship)
{
    const QString sources = VXSQLiteSchema::table(relationship.entity());
    const QString targets = VXSQLiteSchema::table(relationship.destination());
    if (!relationship.isManyToMany())
        return u"SELECT t0.Z_PK, t0.Z_ENT, t0.%1 FROM %2 t0 WHERE t0.%1 IS NOT NULL AND NOT EXISTS "
               "(SELECT 1 FROM %3 t1 WHERE t1.Z_PK = t0.%1)"_s.arg(VXSQLiteSchema::column(relationship), sources,
                                                                   targets);
    const VXSQLiteLink link = VXSQLiteSchema::link(relationship);
    return u"SELECT t0.Z_PK, t0.Z_ENT, t2.%1 FROM %2 t2 JOIN %3 t0 ON t0.Z_PK = t2.%4 WHERE NOT EXISTS "
           "(SELECT 1 FROM %5 t1 WHERE t1.Z_PK = t2.%1)"_s.arg(link.target, link.table, sources, link.source, targets);
}

// A delete rule of the other end may leave references behind that lead nowhere.
bool isChecked(const VXRelationshipDescription &relationship, const VXEntityDescription &entity)
{
    if (&relationship.entity() != &entity || relationship.isTransient())
        return false;
    return relationship.isToMany() ? relationship.isManyToMany()
                                   : relationship.inverse()->deleteRule() != VXDeleteRule::NoAction;
}

} // namespace

QStringList VXSQLiteStore::check()
{
    VXError error;
    const VXSQLiteConnectionPool::Lease connection = _readers.borrow(&error);
    if (!connection)
        return {error.description()};
    QStringList found;
    const QString integrity =
        connection->textOf(u"SELECT group_concat(integrity_check, ' ') FROM pragma_integrity_check"_s, &error);
    if (integrity != "ok"_L1)
        found.append(integrity.isNull() ? error.description() : integrity);
    findUnreadableRows(found);
    findDanglingReferences(*connection, found);
    return found;
}

void VXSQLiteStore::findUnreadableRows(QStringList &found)
{
    for (const VXEntityDescription *const entity : model().entities()) {
        if (entity->superentity() != nullptr)
            continue;
        VXError error;
        bool isExact = true;
        if (!fetch(
                VXFetchRequest(*entity), true, [](const VXFetchedRow &) {}, &isExact, &error))
            found.append(error.description());
    }
}

void VXSQLiteStore::findDanglingReferences(VXSQLiteConnection &connection, QStringList &found) const
{
    for (const VXEntityDescription *const entity : model().entities()) {
        for (const VXRelationshipDescription *const relationship : entity->relationships()) {
            if (!isChecked(*relationship, *entity))
                continue;
            VXError error;
            VXSQLiteStatement rows = connection.statement(referenceQuery(*relationship), &error);
            Step at = rows ? rows.step() : Step::Failed;
            for (; at == Step::Row; at = rows.step()) {
                const VXManagedObjectID source = layout(*entity).readID(rows, identity());
                const VXManagedObjectID target(relationship->destination(), identity(), rows.number(2));
                found.append(u"\"%1\" of %2 leads to %3, which is not there."_s.arg(
                    relationship->name(), source.isNull() ? u"an object"_s : source.uriRepresentation().toString(),
                    target.uriRepresentation().toString()));
            }
            if (at == Step::Failed)
                found.append(error ? error.description() : connection.lastError().description());
        }
    }
}
