#include "VXMigrationReport.h"

#include "VXManagedObjectContext.h"
#include "VXTextTable.h"

#include <QtCore/QJsonObject>

using namespace Qt::StringLiterals;

namespace {

QJsonObject jsonOf(const QMap<QString, qint64> &counts)
{
    QJsonObject json;
    for (auto each = counts.cbegin(); each != counts.cend(); ++each)
        json.insert(each.key(), *each);
    return json;
}

QString textOf(const QMap<QString, qint64> &counts)
{
    QStringList texts;
    for (auto each = counts.cbegin(); each != counts.cend(); ++each)
        texts.append(u"%1: %2"_s.arg(each.key()).arg(*each));
    return texts.join(", "_L1);
}

} // namespace

QJsonArray VXJSONOfMigration(const QList<VXEntityMigration> &entities)
{
    QJsonArray json;
    for (const VXEntityMigration &each : entities)
        json.append(QJsonObject{{u"entity"_s, each.entity},
                                {u"found"_s, each.found},
                                {u"copied"_s, each.copied},
                                {u"leftOut"_s, each.ignored},
                                {u"changed"_s, jsonOf(each.changedValues)},
                                {u"dropped"_s, QJsonArray::fromStringList(each.droppedProperties)},
                                {u"notFound"_s, jsonOf(each.notFound)}});
    return json;
}

QString VXTextOfMigration(const QList<VXEntityMigration> &entities)
{
    if (entities.isEmpty())
        return u"It holds no objects.\n"_s;
    QList<QStringList> rows{
        {u"ENTITY"_s, u"FOUND"_s, u"COPIED"_s, u"LEFT OUT"_s, u"CHANGED"_s, u"DROPPED"_s, u"NOT FOUND"_s}};
    for (const VXEntityMigration &each : entities)
        rows.append({each.entity, QString::number(each.found), QString::number(each.copied),
                     QString::number(each.ignored), textOf(each.changedValues), each.droppedProperties.join(", "_L1),
                     textOf(each.notFound)});
    return VXTextTable(rows);
}

std::optional<QList<VXEntityMigration>> VXObjectsOfStore(VXCoreDataStore &store, VXError *error)
{
    const VXPersistentStoreCoordinator::Ptr coordinator = store.persistentStoreCoordinator(error);
    if (!coordinator)
        return std::nullopt;
    VXManagedObjectContext context(coordinator);
    QList<VXEntityMigration> entities;
    for (const VXEntityDescription *const entity : coordinator->model().entities()) {
        VXFetchRequest request(*entity);
        request.includesSubentities = false;
        const std::optional<qsizetype> count = context.countForFetchRequest(request, error);
        if (!count)
            return std::nullopt;
        if (*count > 0)
            entities.append({.entity = entity->name(), .found = *count, .copied = *count});
    }
    return entities;
}
