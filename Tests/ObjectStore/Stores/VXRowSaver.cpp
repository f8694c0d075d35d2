#include "VXRowSaver.h"

#include "VXModelParser.h"
#include "VXTesting.h"

VXManagedObjectModel::Ptr VXModelOf(const QByteArray &source)
{
    QList<VXModelProblem> problems;
    VXError error;
    const auto model = VXManagedObjectModel::modelWithDefinition(VXParseModel(source, &problems), &error);
    EXPECT_TRUE(problems.isEmpty() && model) << error.description().toStdString();
    return model;
}

namespace {

VXStoreRow::Ptr madeRow(const VXEntityDescription &entity, const VXStoreRow *base, const QVariantMap &values,
                        QList<int> *changed)
{
    const auto row = std::make_shared<VXStoreRow>(int(entity.properties().size()), base ? base->version() + 1 : 1);
    for (int index = 0; base != nullptr && index < base->propertyCount(); ++index)
        row->setValue(index, base->value(index));
    for (auto value = values.cbegin(); value != values.cend(); ++value) {
        const VXPropertyDescription *const property = entity.propertyForName(value.key());
        EXPECT_NE(property, nullptr) << value.key().toStdString();
        row->setValue(property->index(), *value);
        changed->append(property->index());
    }
    return row;
}

} // namespace

VXManagedObjectID VXRowSaver::add(const QString &entityName, const QVariantMap &values)
{
    const VXEntityDescription &entity = *_store.model().entityForName(entityName);
    const qint64 number = _store.reserveNumbers(entity.rootEntity(), 1, &error).value_or(0);
    EXPECT_GT(number, 0) << error.description().toStdString();
    const VXManagedObjectID objectID(entity, _store.identity(), number);
    QList<int> changed;
    request.changes.append({objectID, madeRow(entity, nullptr, values, &changed), nullptr});
    return objectID;
}

VXRowChange &VXRowSaver::change(const VXManagedObjectID &objectID, const QVariantMap &values)
{
    for (VXRowChange &each : request.changes) {
        if (each.objectID != objectID || each.base)
            continue;
        QList<int> changed; // it is to be inserted
        each.row = madeRow(objectID.entity(), each.row.get(), values, &changed)->copy(1);
        return each;
    }
    const VXStoreRow::Ptr base = _store.row(objectID, &error);
    EXPECT_TRUE(base) << error.description().toStdString();
    QList<int> changed;
    const VXStoreRow::Ptr row = madeRow(objectID.entity(), base.get(), values, &changed);
    request.changes.append({objectID, row, base, changed});
    return request.changes.last();
}

VXRowChange &VXRowSaver::remove(const VXManagedObjectID &objectID)
{
    request.changes.append({objectID, nullptr, _store.row(objectID, &error)});
    return request.changes.last();
}

void VXRowSaver::link(const VXManagedObjectID &source, const QString &relationship,
                      const QList<VXManagedObjectID> &added, const QList<VXManagedObjectID> &removed)
{
    request.links.append({source, source.entity().relationshipForName(relationship), added, removed});
}

std::unique_ptr<VXStoreTransaction> VXRowSaver::save()
{
    conflicts.clear();
    error = {};
    return _store.save(request, &conflicts, &error);
}

bool VXRowSaver::saveAndCommit()
{
    const std::unique_ptr<VXStoreTransaction> transaction = save();
    const bool isSaved = transaction && transaction->commit(&error);
    if (isSaved)
        request = {};
    return isSaved;
}

QList<VXFetchedRow> VXFetchRows(VXPersistentStore &store, const VXFetchRequest &request, VXError *error, bool *isExact)
{
    QList<VXFetchedRow> found;
    const std::unique_ptr<VXRowCursor> rows = store.fetch(request, true, error);
    if (!rows)
        return found;
    if (isExact != nullptr)
        *isExact = rows->isExact();
    for (VXFetchedRow row; rows->next(&row, error) == VXRowCursor::Step::Row;)
        found.append(row);
    return found;
}

QVariantList VXFetchValues(VXPersistentStore &store, const VXFetchRequest &request, const QString &attribute)
{
    QVariantList values;
    const int index = request.entity().propertyForName(attribute)->index();
    bool isExact = false;
    VXError error;
    for (const VXFetchedRow &found : VXFetchRows(store, request, &error, &isExact))
        values.append(found.row->value(index));
    EXPECT_FALSE(error) << error.description().toStdString();
    EXPECT_TRUE(isExact);
    return values;
}
