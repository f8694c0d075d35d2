#include "VXSQLiteStore.h"

#include "VXSaveReferences.h"
#include "VXSQLiteUnfit.h"

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

constexpr int mostUnfitValues = 10; // that are told of an attribute
constexpr qsizetype longestQuote = 60;

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
    if (!findUnfitValues(&found, &error))
        found.append(reasonOf(error));
    QList<VXBrokenReference> broken;
    if (!findBrokenReferences(&broken, &error))
        found.append(reasonOf(error));
    for (const VXBrokenReference &each : std::as_const(broken))
        found.append(each.description());
    found.removeDuplicates(); // damage shows wherever it is read
    return found;
}

void VXSQLiteStore::findUnreadableRows(QStringList &found)
{
    for (const VXEntityDescription *const entity : model().entities()) {
        if (entity->superentity() != nullptr)
            continue;
        VXError error;
        const std::unique_ptr<VXRowCursor> rows = fetch(VXFetchRequest(*entity), true, &error);
        VXRowCursor::Step at = rows ? VXRowCursor::Step::Row : VXRowCursor::Step::Failed;
        for (VXFetchedRow row; at == VXRowCursor::Step::Row;)
            at = rows->next(&row, &error);
        if (at == VXRowCursor::Step::Failed)
            found.append(reasonOf(error));
    }
}

bool VXSQLiteStore::findUnfitValues(QStringList *found, VXError *error)
{
    const VXSQLiteConnectionPool::Lease connection = _readers.borrow(error);
    if (!connection)
        return false;
    for (const VXEntityDescription *const entity : model().entities()) {
        for (const VXAttributeDescription *const attribute : entity->attributes()) {
            if (&attribute->entity() != entity || attribute->isTransient())
                continue;
            const QString column = "t0."_L1 + VXSQLiteSchema::column(*attribute);
            VXSQLiteStatement rows =
                connection->statement(u"SELECT t0.Z_PK, t0.Z_ENT, quote(%1) FROM %2 t0 WHERE %3 LIMIT %4"_s.arg(
                                          column, VXSQLiteSchema::table(*entity),
                                          VXSQLiteUnfit(attribute->type(), column), QString::number(mostUnfitValues)),
                                      error);
            if (!rows)
                return false;
            Step at = rows.step();
            for (; at == Step::Row; at = rows.step()) {
                const VXManagedObjectID objectID = layout(*entity).readID(rows, identity());
                if (!objectID.isNull()) // or the row is told as unreadable
                    found->append(u"\"%1\" of %2 cannot be %3."_s.arg(
                        attribute->name(), objectID.uriRepresentation().toString(), rows.text(2).left(longestQuote)));
            }
            if (at == Step::Failed) {
                VXSetError(error, connection->lastError());
                return false;
            }
        }
    }
    return true;
}

QString VXSQLiteStore::oneSidedQuery(const VXRelationshipDescription &relationship)
{
    const QString sources = VXSQLiteSchema::table(relationship.entity());
    if (VXIsPair(relationship))
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

bool VXSQLiteStore::findBrokenReferences(QList<VXBrokenReference> *found, VXError *error)
{
    const VXSQLiteConnectionPool::Lease connection = _readers.borrow(error);
    if (!connection)
        return false;
    for (const VXEntityDescription *const entity : model().entities()) {
        for (const VXRelationshipDescription *const relationship : entity->relationships()) {
            if (&relationship->entity() != entity || relationship->isTransient())
                continue;
            if (VXMustLeadSomewhere(*relationship) &&
                !addReferences(*connection, *relationship, danglingQuery(*relationship), false, found, error))
                return false;
            const QString query = oneSidedQuery(*relationship);
            if (!query.isNull() && !addReferences(*connection, *relationship, query, true, found, error))
                return false;
        }
    }
    return true;
}

bool VXSQLiteStore::findMissingTargets(const VXRelationshipDescription &relationship, QList<VXBrokenReference> *found,
                                       VXError *error)
{
    const VXSQLiteConnectionPool::Lease connection = _readers.borrow(error);
    return connection && addReferences(*connection, relationship, danglingQuery(relationship), false, found, error);
}

bool VXSQLiteStore::addReferences(VXSQLiteConnection &connection, const VXRelationshipDescription &relationship,
                                  const QString &query, bool isTargetThere, QList<VXBrokenReference> *found,
                                  VXError *error) const
{
    VXSQLiteStatement rows = connection.statement(query, error);
    if (!rows)
        return false;
    Step at = rows.step();
    for (; at == Step::Row; at = rows.step())
        found->append({layout(relationship.entity()).readID(rows, identity()), &relationship,
                       VXManagedObjectID(relationship.destination(), identity(), rows.number(2)), isTargetThere});
    if (at == Step::Failed)
        VXSetError(error, connection.lastError());
    return at == Step::Done;
}
