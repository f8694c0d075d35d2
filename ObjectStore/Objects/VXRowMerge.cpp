#include "VXRowMerge.h"

#include <QtCore/QVariantMap>

#include <algorithm>
#include <cmath>

namespace {

bool isStored(const VXPropertyDescription &property)
{
    const VXRelationshipDescription *const relationship = property.asRelationship();
    return !property.isTransient() && (relationship == nullptr || !relationship->isToMany());
}

bool isSameList(const QVariantList &a, const QVariantList &b)
{
    return std::equal(a.cbegin(), a.cend(), b.cbegin(), b.cend(), VXIsSameValue);
}

bool isSameMap(const QVariantMap &a, const QVariantMap &b)
{
    return a.size() == b.size() &&
           std::equal(a.keyValueBegin(), a.keyValueEnd(), b.keyValueBegin(), [](const auto &one, const auto &other) {
               return one.first == other.first && VXIsSameValue(one.second, other.second);
           });
}

} // namespace

bool VXIsSameValue(const QVariant &a, const QVariant &b)
{
    if (a.metaType() != b.metaType())
        return false;
    switch (a.typeId()) {
    case QMetaType::QVariantList:
        return isSameList(a.toList(), b.toList());
    case QMetaType::QVariantMap:
        return isSameMap(a.toMap(), b.toMap());
    case QMetaType::Double:
        return a == b || (std::isnan(a.toDouble()) && std::isnan(b.toDouble()));
    default:
        return a == b;
    }
}

QList<int> VXChangedProperties(const VXEntityDescription &entity, const VXStoreRow &before, const VXStoreRow &after)
{
    QList<int> changed;
    for (const VXPropertyDescription *const property : entity.properties()) {
        const int index = property->index();
        if (isStored(*property) && !VXIsSameValue(before.value(index), after.value(index)))
            changed.append(index);
    }
    return changed;
}

bool VXHasTransientValues(const VXEntityDescription &entity, const VXStoreRow &row)
{
    return std::any_of(entity.properties().cbegin(), entity.properties().cend(),
                       [&row](const VXPropertyDescription *property) {
                           return property->isTransient() && row.value(property->index()).isValid();
                       });
}

void VXCopyTransientValues(const VXEntityDescription &entity, const VXStoreRow &from, VXStoreRow &to)
{
    for (const VXPropertyDescription *const property : entity.properties()) {
        if (property->isTransient())
            to.value(property->index()) = from.value(property->index());
    }
}

void VXRemoveTransientValues(const VXEntityDescription &entity, VXStoreRow &row)
{
    for (const VXPropertyDescription *const property : entity.properties()) {
        if (property->isTransient())
            row.value(property->index()).clear();
    }
}

std::shared_ptr<VXStoreRow> VXMergedRow(const VXEntityDescription &entity, const VXStoreRow &base,
                                        const VXStoreRow &own, const VXStoreRow &stored, bool storeTrumps)
{
    auto merged = stored.copy(stored.version() + 1);
    for (const int index : VXChangedProperties(entity, base, own)) {
        if (!storeTrumps || VXIsSameValue(base.value(index), stored.value(index)))
            merged->value(index) = own.value(index);
    }
    return merged;
}
