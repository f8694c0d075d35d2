#include "VXSQLiteStore.h"

using namespace Qt::StringLiterals;

using Step = VXSQLiteStatement::Step;

namespace {

// Without path and code: all findings are about the one file.
QString reasonOf(const VXError &error)
{
    const QString reason = error.localizedRecoverySuggestion();
    return reason.isNull() ? error.localizedDescription() : error.localizedDescription() + u' ' + reason;
}

// References that lead nowhere: the identity of the source, and the number they hold.
QString danglingQuery(const VXRelationshipDescription &relationship)
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

// References that do not lead back, in the same form. Null where one end is made of the other.
QString oneSidedQuery(const VXRelationshipDescription &relationship)
{
    const QString sources = VXSQLiteSchema::table(relationship.entity());
    if (!relationship.isToMany() && !relationship.inverse()->isToMany())
        return u"SELECT t0.Z_PK, t0.Z_ENT, t0.%1 FROM %2 t0 JOIN %3 t1 ON t1.Z_PK = t0.%1 "
               "WHERE t1.%4 IS NOT t0.Z_PK"_s.arg(VXSQLiteSchema::column(relationship), sources,
                                                  VXSQLiteSchema::table(relationship.destination()),
                                                  VXSQLiteSchema::column(*relationship.inverse()));
    if (!relationship.isManyToMany() || !VXSQLiteSchema::link(relationship).isSymmetric)
        return {};
    return u"SELECT t0.Z_PK, t0.Z_ENT, t2.Z_TARGET FROM %1 t2 JOIN %2 t0 ON t0.Z_PK = t2.Z_SOURCE WHERE NOT EXISTS "
           "(SELECT 1 FROM %1 t3 WHERE t3.Z_SOURCE = t2.Z_TARGET AND t3.Z_TARGET = t2.Z_SOURCE)"_s.arg(
               VXSQLiteSchema::link(relationship).table, sources);
}

// A delete rule of the other end may leave references behind; of one end in many the other end is made.
bool mustLeadSomewhere(const VXRelationshipDescription &relationship)
{
    return relationship.isToMany() ? relationship.isManyToMany()
                                   : relationship.inverse()->deleteRule() != VXDeleteRule::NoAction;
}

} // namespace

QStringList VXSQLiteStore::check()
{
    VXError error;
    const VXSQLiteConnectionPool::Lease connection = _readers.borrow(&error);
    if (!connection)
        return {reasonOf(error)};
    QStringList found;
    const QString integrity =
        connection->textOf(u"SELECT group_concat(integrity_check, ' ') FROM pragma_integrity_check"_s, &error);
    if (integrity != "ok"_L1)
        found.append(integrity.isNull() ? reasonOf(error) : integrity);
    findUnreadableRows(found);
    findBrokenReferences(*connection, found);
    found.removeDuplicates(); // damage shows wherever it is read
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
            found.append(reasonOf(error));
    }
}

void VXSQLiteStore::findBrokenReferences(VXSQLiteConnection &connection, QStringList &found) const
{
    for (const VXEntityDescription *const entity : model().entities()) {
        for (const VXRelationshipDescription *const relationship : entity->relationships()) {
            if (&relationship->entity() != entity || relationship->isTransient())
                continue;
            if (mustLeadSomewhere(*relationship))
                addReferences(connection, *relationship, danglingQuery(*relationship), u"is not there"_s, found);
            if (const QString query = oneSidedQuery(*relationship); !query.isNull())
                addReferences(connection, *relationship, query, u"does not lead back"_s, found);
        }
    }
}

void VXSQLiteStore::addReferences(VXSQLiteConnection &connection, const VXRelationshipDescription &relationship,
                                  const QString &query, const QString &fault, QStringList &found) const
{
    VXError error;
    VXSQLiteStatement rows = connection.statement(query, &error);
    Step at = rows ? rows.step() : Step::Failed;
    for (; at == Step::Row; at = rows.step()) {
        const VXManagedObjectID source = layout(relationship.entity()).readID(rows, identity());
        const VXManagedObjectID target(relationship.destination(), identity(), rows.number(2));
        found.append(u"\"%1\" of %2 leads to %3, which %4."_s.arg(
            relationship.name(), source.isNull() ? u"an object"_s : source.uriRepresentation().toString(),
            target.uriRepresentation().toString(), fault));
    }
    if (at == Step::Failed)
        found.append(error ? reasonOf(error) : reasonOf(connection.lastError()));
}
