#pragma once

#include "VXManagedObjectID.h"

#include <QtCore/QVariant>

#include <algorithm>
#include <memory>

/** The numbers of objects and the versions of rows go no further: with larger ones a store is damaged. */
constexpr qint64 VXLargestStoreNumber = qint64(1) << 62;

/**
 * What a store holds of one object, as it was read: the values by property index and the version of the row. Never changed
 * once shared, so that contexts on any thread may keep it. Values: of an attribute as VXAttributeType says; of a to-one
 * relationship a VXManagedObjectID; invalid for none, for to-many relationships and for transient properties.
 */
class VXStoreRow
{
public:
    using Ptr = std::shared_ptr<const VXStoreRow>;

    VXStoreRow(int propertyCount, qint64 version)
        : _version(version), _count(propertyCount), _owned(new QVariant[size_t(propertyCount)]), _values(_owned.get())
    {
    }
    /** With values that somebody else owns, and keeps as long as the row. */
    VXStoreRow(QVariant *values, int propertyCount, qint64 version)
        : _version(version), _count(propertyCount), _values(values)
    {
    }

    /** All values, with another version. */
    std::shared_ptr<VXStoreRow> copy(qint64 version) const
    {
        auto copied = std::make_shared<VXStoreRow>(_count, version);
        std::copy_n(_values, _count, copied->_values);
        return copied;
    }

    /** Grows by one with each save that changes the object; 1 when it is new. */
    qint64 version() const { return _version; }
    int propertyCount() const { return _count; }
    const QVariant &value(int index) const { return _values[index]; }
    /** While it is being made. */
    QVariant &value(int index) { return _values[index]; }
    /** The object that a to-one relationship leads to; nullptr for none. */
    const VXManagedObjectID *target(int index) const
    {
        const QVariant &value = _values[index];
        return value.metaType() == QMetaType::fromType<VXManagedObjectID>()
                   ? static_cast<const VXManagedObjectID *>(value.constData())
                   : nullptr;
    }

private:
    const qint64 _version;
    const int _count;
    const std::unique_ptr<QVariant[]> _owned;
    QVariant *const _values;
};
