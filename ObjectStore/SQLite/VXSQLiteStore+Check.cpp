#include "VXSQLiteStore.h"

#include "VXPropertyList.h"
#include "VXSaveReferences.h"
#include "VXSQLiteUnfit.h"

#include <QtCore/QDateTime>

using namespace Qt::StringLiterals;

using Step = VXSQLiteStatement::Step;

namespace {

// Without path and code, since all findings are about the same file.
QString reasonOf(const VXError &error)
{
    const QString reason = error.localizedRecoverySuggestion();
    return reason.isNull() ? error.localizedDescription() : error.localizedDescription() + u' ' + reason;
}

// Selects references to missing objects: the identity of the source, and the number it contains.
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

constexpr int mostUnfitValues = 10; // listed per attribute
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
    found.removeDuplicates(); // damage is found whenever it is read
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

struct VXSQLiteStore::UnfitValue
{
    const VXAttributeDescription *attribute;
    VXManagedObjectID objectID;
    QString quoted;   // in SQL notation
    QByteArray bytes; // texts and numbers in UTF-8

    // `quote`: the value, or its beginning.
    QString description(const QString &quote) const
    {
        return u"\"%1\" of %2 cannot be %3"_s.arg(attribute->name(), objectID.uriRepresentation().toString(), quote);
    }
};

bool VXSQLiteStore::forEachUnfitValue(VXSQLiteConnection &connection, int limit,
                                      const std::function<void(const UnfitValue &)> &each, VXError *error) const
{
    for (const VXEntityDescription *const entity : model().entities()) {
        for (const VXAttributeDescription *const attribute : entity->attributes()) {
            if (&attribute->entity() != entity || attribute->isTransient())
                continue;
            const QString column = "t0."_L1 + VXSQLiteSchema::column(*attribute);
            VXSQLiteStatement rows = connection.statement(
                u"SELECT t0.Z_PK, t0.Z_ENT, quote(%1), %1, typeof(%1) = 'blob' FROM %2 t0 WHERE %3 LIMIT %4"_s.arg(
                    column, VXSQLiteSchema::table(*entity), VXSQLiteUnfit(attribute->type(), column),
                    QString::number(limit)),
                error);
            if (!rows)
                return false;
            Step at = rows.step();
            for (; at == Step::Row; at = rows.step()) {
                const VXManagedObjectID objectID = layout(*entity).readID(rows, identity());
                if (!objectID.isNull()) // otherwise the row is reported as unreadable
                    each({attribute, objectID, rows.text(2),
                          rows.number(4) != 0 ? rows.data(3) : rows.text(3).toUtf8()});
            }
            if (at == Step::Failed) {
                VXSetError(error, connection.lastError());
                return false;
            }
        }
    }
    return true;
}

bool VXSQLiteStore::findUnfitValues(QStringList *found, VXError *error)
{
    const VXSQLiteConnectionPool::Lease connection = _readers.borrow(error);
    const auto tell = [&](const UnfitValue &value) {
        found->append(value.description(value.quoted.left(longestQuote)) + u'.');
    };
    return connection && forEachUnfitValue(*connection, mostUnfitValues, tell, error);
}

namespace {

// Interprets bytes as a type; none when that is not possible, or the value is out of range.
QVariant readAs(VXAttributeType type, const QByteArray &bytes)
{
    bool isRead = true;
    QVariant value;
    switch (type) {
    case VXAttributeType::Integer16:
    case VXAttributeType::Integer32:
    case VXAttributeType::Integer64:
        value = bytes.toLongLong(&isRead);
        break;
    case VXAttributeType::Double:
        value = bytes.toDouble(&isRead);
        break;
    case VXAttributeType::Boolean:
        value = bytes == "1" || bytes == "true";
        isRead = value.toBool() || bytes == "0" || bytes == "false";
        break;
    case VXAttributeType::Date: // a date without time zone is ambiguous
        value = QDateTime::fromString(QString::fromUtf8(bytes), Qt::ISODateWithMs);
        isRead = value.toDateTime().isValid() && value.toDateTime().timeSpec() != Qt::LocalTime;
        break;
    case VXAttributeType::String:
        value = QString::fromUtf8(bytes);
        isRead = bytes.isValidUtf8() && !bytes.contains('\0');
        break;
    case VXAttributeType::Binary:
        return bytes;
    case VXAttributeType::PropertyList:
        return VXPropertyList::fromData(bytes);
    }
    return isRead ? VXAttributeValue(type, value).value_or(QVariant()) : QVariant();
}

} // namespace

// In one transaction. The rows get new versions, so that others who have read them notice.
bool VXSQLiteStore::mendValues(QStringList *mended, VXError *error)
{
    QStringList any; // a store without any is not written to
    if (!findUnfitValues(&any, error))
        return false;
    if (any.isEmpty())
        return true;
    QList<VXRowConflict> none;
    const auto transaction = save({}, &none, error);
    QList<UnfitValue> found;
    if (!transaction || !forEachUnfitValue(
                            *_writer, -1, [&](const UnfitValue &value) { found.append(value); }, error))
        return false;
    for (const UnfitValue &unfit : std::as_const(found)) {
        const QString now = mendValue(unfit, error);
        if (now.isNull())
            return false;
        mended->append(unfit.description(unfit.quoted) +
                       (now == "NULL"_L1 ? u"; it has no value now."_s : u"; it is %1 now."_s.arg(now)));
    }
    return transaction->commit(error);
}

// Returns the new value in SQL notation; null on failure.
QString VXSQLiteStore::mendValue(const UnfitValue &unfit, VXError *error)
{
    const VXAttributeDescription &attribute = *unfit.attribute;
    QVariant value = readAs(attribute.type(), unfit.bytes);
    if (!value.isValid())
        value = attribute.defaultValue();
    if (attribute.type() == VXAttributeType::PropertyList && value.isValid())
        value = VXPropertyList::toData(value, VXPropertyList::Format::Binary);
    VXSQLiteStatement update =
        _writer->statement(u"UPDATE %1 SET %2 = ?1, Z_OPT = Z_OPT + 1 WHERE Z_PK = ?2 RETURNING quote(%2)"_s.arg(
                               VXSQLiteSchema::table(attribute.entity()), VXSQLiteSchema::column(attribute)),
                           error);
    if (!update)
        return {};
    update.bindValue(1, value);
    update.bindNumber(2, unfit.objectID.number());
    const QString now = update.step() == Step::Row ? update.text(0) : QString();
    if (!now.isNull() && update.step() == Step::Done)
        return now;
    VXSetError(error, _writer->lastError());
    return {};
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
