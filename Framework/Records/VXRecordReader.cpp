#include "VXRecordReader.h"

#include "VXContainer.h"
#include "VXKeyValueCoding.h"
#include "VXManagedObject.h"
#include "VXNone.h"
#include "VXPhonebookType.h"

#include <algorithm>
#include <cmath>

namespace {

// Sorts stored objects by number, the order in which they were made, as relationships have no order.
QVariantList sorted(QVariantList list)
{
    const auto number = [](const QVariant &element) {
        const auto object = element.value<VXManagedObjectPtr>();
        return object ? object->objectID().number() : 0;
    };
    if (!list.isEmpty() && list.constFirst().metaType() == QMetaType::fromType<VXManagedObjectPtr>())
        std::ranges::stable_sort(list, {}, number);
    return list;
}

} // namespace

QVariant VXRecordReader::value(const QString &key) const
{
    QVariant found = VXValueForKey(_object, key);
    return VXIsNone(found) ? QVariant() : found;
}

QString VXRecordReader::text(const QString &key) const
{
    const QString found = value(key).toString().trimmed();
    return found.isEmpty() ? QString() : found;
}

QDateTime VXRecordReader::date(const QString &key) const
{
    return VXRecordDate(value(key).toDateTime());
}

std::optional<double> VXRecordReader::number(const QString &key) const
{
    bool isNumber = false;
    const double found = value(key).toDouble(&isNumber);
    return isNumber && std::isfinite(found) ? std::optional(found) : std::nullopt;
}

QVariantList VXRecordReader::list(const QString &key) const
{
    const QVariant found = value(key);
    if (!found.isValid())
        return {};
    if (found.metaType() == QMetaType::fromType<QList<VXManagedObjectPtr>>()) {
        QVariantList objects;
        for (const VXManagedObjectPtr &object : found.value<QList<VXManagedObjectPtr>>())
            objects.append(QVariant::fromValue(object));
        return sorted(objects);
    }
    return VXIsList(found) ? sorted(found.toList()) : QVariantList{found};
}

unsigned VXRecordReader::typeMask(const QString &key) const
{
    const QVariant found = value(key);
    bool isNumber = false;
    const unsigned mask = found.toUInt(&isNumber);
    return isNumber ? mask : VXPhonebookTypeMaskFromString(found.toString());
}

QDateTime VXRecordDate(const QDateTime &date)
{
    return VXRecordDate(date.toUTC().date()).isValid() ? date : QDateTime();
}

QDate VXRecordDate(const QDate &date)
{
    return date.year() >= 1 && date.year() <= 9999 ? date : QDate();
}

void VXInsertIntoRecord(QVariantMap &map, const QString &key, const QVariant &value)
{
    if (!VXIsNone(value) && (value.typeId() != QMetaType::QString || !value.toString().isEmpty()))
        map.insert(key, value);
}
