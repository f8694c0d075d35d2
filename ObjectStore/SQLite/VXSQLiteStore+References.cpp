#include "VXSQLiteStore.h"

#include "VXObjectNumbers.h"
#include "VXSaveReferences.h"

using namespace Qt::StringLiterals;

using Step = VXSQLiteStatement::Step;

// Few statements for a save of any size, and none for one without relationships.
bool VXSQLiteStore::findReferenceConflicts(const VXSaveRequest &request, const VXSaveReferences &concerned,
                                           QList<VXRowConflict> *conflicts, VXError *error) const
{
    QHash<const VXEntityDescription *, QList<VXManagedObjectID>> targets; // by root entity
    for (const VXManagedObjectID &target : concerned.targets())
        targets[&target.entity().rootEntity()].append(target);
    for (auto family = targets.cbegin(); family != targets.cend(); ++family) {
        if (!findMissing(*family.key(), *family, conflicts, error))
            return false;
    }
    for (auto each = concerned.deleted().cbegin(); each != concerned.deleted().cend(); ++each) {
        QHash<qint64, QList<VXRowReference>> references;
        if (!findReferences(*each.key(), *each, &references, error))
            return false;
        const VXEntityDescription &root = each.key()->entity().rootEntity();
        for (const VXRowChange &change : request.changes) {
            const qint64 number = change.objectID.number();
            if (!change.row && references.contains(number) && &change.objectID.entity().rootEntity() == &root)
                conflicts->append(
                    {change.objectID, change.base, VXRowConflict::Kind::Referenced, references.take(number)});
        }
    }
    for (auto each = concerned.paired().cbegin(); each != concerned.paired().cend(); ++each) {
        if (!findOneSided(request, *each.key(), *each, conflicts, error))
            return false;
    }
    return true;
}

bool VXSQLiteStore::findDenied(const VXSaveRequest &request, const VXSaveReferences &concerned,
                               QList<VXRowConflict> *conflicts, VXError *error) const
{
    if (concerned.denying().isEmpty())
        return true;
    QHash<VXManagedObjectID, VXStoreRow::Ptr> deleted;
    for (const VXRowChange &change : request.changes) {
        if (!change.row)
            deleted.insert(change.objectID, change.base);
    }
    for (auto each = concerned.denying().cbegin(); each != concerned.denying().cend(); ++each) {
        QHash<qint64, QList<VXRowReference>> references;
        if (!findReferences(*each.key(), *each, &references, error))
            return false;
        for (const VXManagedObjectID &objectID : *each) {
            QList<VXRowReference> denying = references.value(objectID.number());
            denying.removeIf([&](const VXRowReference &other) { return deleted.contains(other.source.objectID); });
            if (!denying.isEmpty())
                conflicts->append({objectID, deleted.value(objectID), VXRowConflict::Kind::Referenced, denying});
        }
    }
    return true;
}

// Checks that the objects' partners refer back, and nothing else refers to them.
bool VXSQLiteStore::findOneSided(const VXSaveRequest &request, const VXRelationshipDescription &relationship,
                                 const QList<VXManagedObjectID> &changed, QList<VXRowConflict> *conflicts,
                                 VXError *error) const
{
    const VXRelationshipDescription &inverse = *relationship.inverse();
    const QString numbers = VXObjectNumbers::list(changed);
    const auto find = [&](const VXRelationshipDescription &leading, const QString &column) {
        VXSQLiteStatement rows = _writer->statement(
            oneSidedQuery(leading) + u" AND t0.%1 IN (SELECT value FROM json_each(?1))"_s.arg(column), error);
        if (!rows)
            return false;
        rows.bindText(1, numbers);
        Step at = rows.step();
        for (; at == Step::Row; at = rows.step()) {
            const VXManagedObjectID source = layout(leading.entity()).readID(rows, identity());
            VXError problem;
            const VXStoreRow::Ptr row = source.isNull() ? nullptr : readRow(*_writer, source, &problem);
            if (!row) {
                VXSetError(error, problem);
                return false;
            }
            const VXManagedObjectID target = *row->target(leading.index());
            const auto isWritten = [&](const VXRowChange &change) { return change.objectID == source; };
            const bool isOfSave = std::any_of(request.changes.cbegin(), request.changes.cend(), isWritten);
            conflicts->append({isOfSave ? target : source,
                               isOfSave ? readRow(*_writer, target, nullptr) : row,
                               VXRowConflict::Kind::OneSided,
                               {{{source, row}, &leading}}});
        }
        if (at == Step::Failed)
            VXSetError(error, _writer->lastError());
        return at == Step::Done;
    };
    return find(relationship, u"Z_PK"_s) && find(inverse, VXSQLiteSchema::column(inverse));
}

bool VXSQLiteStore::findMissing(const VXEntityDescription &root, const QList<VXManagedObjectID> &targets,
                                QList<VXRowConflict> *conflicts, VXError *error) const
{
    const QString numbers = VXObjectNumbers::list(targets);
    VXSQLiteStatement missing = _writer->statement(
        u"SELECT e.value FROM json_each(?1) e WHERE NOT EXISTS (SELECT 1 FROM %1 t0 WHERE t0.Z_PK = e.value)"_s.arg(
            VXSQLiteSchema::table(root)),
        error);
    if (!missing)
        return false;
    missing.bindText(1, numbers);
    QSet<qint64> gone;
    Step at = missing.step();
    for (; at == Step::Row; at = missing.step())
        gone.insert(missing.number(0));
    for (const VXManagedObjectID &target : targets) {
        if (gone.contains(target.number()))
            conflicts->append({target, nullptr, VXRowConflict::Kind::Missing});
    }
    if (at == Step::Failed)
        VXSetError(error, _writer->lastError());
    return at == Step::Done;
}

// The references by the number of the deleted object.
bool VXSQLiteStore::findReferences(const VXRelationshipDescription &relationship,
                                   const QList<VXManagedObjectID> &deleted,
                                   QHash<qint64, QList<VXRowReference>> *references, VXError *error) const
{
    const VXObjectNumbers numbers(deleted);
    VXSQLiteStatement rows = _writer->statement(relatedQuery(relationship, numbers.wanted()), error);
    if (!rows)
        return false;
    numbers.bind(rows);
    Step at = rows.step();
    for (; at == Step::Row; at = rows.step()) {
        if (numbers.find(rows.number(2)) == nullptr)
            continue;
        const VXManagedObjectID source = layout(relationship.destination()).readID(rows, identity());
        VXError problem;
        const VXStoreRow::Ptr row = source.isNull() ? nullptr : readRow(*_writer, source, &problem);
        if (!row) {
            VXSetError(error, problem
                                  ? problem
                                  : damage(u"\"%1\" leads to an object of another entity."_s.arg(relationship.name())));
            return false;
        }
        (*references)[rows.number(2)].append({{source, row}, relationship.inverse()});
    }
    if (at == Step::Failed)
        VXSetError(error, _writer->lastError());
    return at == Step::Done;
}
