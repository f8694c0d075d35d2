#include "VXObjectColumns.h"

#include "VXHostJSON.h"
#include "VXNone.h"
#include "VXObjectNames.h"
#include "VXShownDate.h"

#include <QtCore/QDateTime>

using namespace Qt::StringLiterals;

namespace {

QString cellOf(const QVariant &value)
{
    constexpr qsizetype widest = 40;
    QString text = value.toString();
    if (VXIsNone(value))
        text = u"-"_s;
    else if (value.typeId() == QMetaType::QDateTime)
        text = VXShownDate(value.toDateTime());
    else if (value.typeId() == QMetaType::QByteArray)
        text = u"%1 bytes"_s.arg(value.toByteArray().size());
    else if (value.typeId() == QMetaType::QVariantMap || value.typeId() == QMetaType::QVariantList)
        text = QString::fromUtf8(VXJSONText(VXJSONFromVariant(value)));
    return text.size() > widest ? text.first(widest - 1) + u'…' : text;
}

} // namespace

QStringList VXNamesOfProperties(const VXEntityDescription &entity)
{
    QStringList names;
    for (const VXPropertyDescription *const property : entity.properties())
        names.append(property->name());
    return names;
}

VXObjectColumns VXColumnsOfEntity(const VXEntityDescription &entity)
{
    VXObjectColumns properties = entity.properties();
    properties.removeIf([](const VXPropertyDescription *property) {
        return property->isTransient() ||
               (property->asRelationship() != nullptr && property->asRelationship()->isToMany());
    });
    return properties;
}

VXObjectColumns VXColumnsForPeople(const VXEntityDescription &entity)
{
    VXObjectColumns columns = VXColumnsOfEntity(entity);
    columns.removeIf([](const VXPropertyDescription *column) { return column->name().endsWith("_search"_L1); });
    return columns;
}

QString VXCellOfObject(const VXManagedObject &object, const VXPropertyDescription &column)
{
    if (column.asRelationship() == nullptr)
        return cellOf(object.attribute(column.index()));
    const VXManagedObjectPtr related = object.related(column.index());
    return related ? VXShortNameOfObject(*related) : u"-"_s;
}
