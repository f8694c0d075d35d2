#include "VXRowMerge.h"

#include <algorithm>

namespace {

bool isStored(const VXPropertyDescription &property)
{
    const VXRelationshipDescription *const relationship = property.asRelationship();
    return !property.isTransient() && (relationship == nullptr || !relationship->isToMany());
}

bool isChanged(int index, const VXEntityDescription &entity, const VXStoreRow &before, const VXStoreRow &after)
{
    return !before.isSame(index, after) && isStored(*entity.properties()[index]);
}

} // namespace

QList<int> VXChangedProperties(const VXEntityDescription &entity, const VXStoreRow &before, const VXStoreRow &after)
{
    QList<int> changed;
    for (int index = 0; index < before.propertyCount(); ++index) {
        if (isChanged(index, entity, before, after))
            changed.append(index);
    }
    return changed;
}

bool VXAreChangedProperties(const QList<int> &properties, const VXEntityDescription &entity, const VXStoreRow &before,
                            const VXStoreRow &after)
{
    auto next = properties.cbegin();
    for (int index = 0; index < before.propertyCount(); ++index) {
        if (isChanged(index, entity, before, after) && (next == properties.cend() || *next++ != index))
            return false;
    }
    return next == properties.cend();
}

bool VXHasTransientValues(const VXEntityDescription &entity, const VXStoreRow &row)
{
    const auto hasValue = [&row](const VXPropertyDescription *property) {
        return property->isTransient() && row.hasValue(property->index());
    };
    return entity.hasTransientProperties() &&
           std::any_of(entity.properties().cbegin(), entity.properties().cend(), hasValue);
}

void VXCopyTransientValues(const VXEntityDescription &entity, const VXStoreRow &from, VXStoreRow &to)
{
    for (const VXPropertyDescription *const property : entity.properties()) {
        if (property->isTransient())
            to.setValue(property->index(), from.value(property->index()));
    }
}

void VXRemoveTransientValues(const VXEntityDescription &entity, VXStoreRow &row)
{
    for (const VXPropertyDescription *const property : entity.properties()) {
        if (property->isTransient())
            row.clear(property->index());
    }
}

std::shared_ptr<VXStoreRow> VXMergedRow(const VXEntityDescription &entity, const VXStoreRow &base,
                                        const VXStoreRow &own, const VXStoreRow &stored, bool storeTrumps)
{
    auto merged = stored.copy(stored.version() + 1);
    for (const int index : VXChangedProperties(entity, base, own)) {
        if (!storeTrumps || base.isSame(index, stored))
            merged->setValue(index, own.value(index));
    }
    return merged;
}
