#include "VXObjectJSON.h"

#include "VXHostJSON.h"
#include "VXManagedObjectContext.h"
#include "VXNearestWord.h"
#include "VXObjectColumns.h"
#include "VXObjectNames.h"

#include <QtCore/QDateTime>
#include <QtCore/QJsonArray>

using namespace Qt::StringLiterals;

namespace {

QJsonValue jsonOfRelationship(const VXManagedObject &object, const VXRelationshipDescription &relationship,
                              bool withRelatedURIs)
{
    if (!relationship.isToMany()) {
        const VXManagedObjectPtr related = object.related(relationship.index());
        return related ? QJsonValue(VXURIOfObject(*related)) : QJsonValue();
    }
    if (!withRelatedURIs)
        return object.relatedCount(relationship.index());
    QStringList uris;
    for (const VXManagedObjectPtr &related : object.relatedObjects(relationship.index()))
        uris.append(VXURIOfObject(*related));
    uris.sort();
    return QJsonArray::fromStringList(uris);
}

// -- From JSON

QVariant attributeFromJSON(const VXAttributeDescription &attribute, const QJsonValue &value)
{
    if (value.isString() && attribute.type() == VXAttributeType::Date) {
        const QDateTime date = QDateTime::fromString(value.toString(), Qt::ISODateWithMs);
        return date.isValid() ? QVariant(date) : QVariant(value.toString()); // in which case it is not a date
    }
    if (value.isString() && attribute.type() == VXAttributeType::Binary) {
        const auto decoded =
            QByteArray::fromBase64Encoding(value.toString().toLatin1(), QByteArray::AbortOnBase64DecodingErrors);
        return decoded ? QVariant(*decoded) : QVariant(value.toString());
    }
    return VXVariantFromJSON(value);
}

QString nameOf(VXAttributeType type)
{
    if (type == VXAttributeType::Date)
        return u"date in ISO 8601, as \"2026-01-02T03:04:05Z\""_s;
    return type == VXAttributeType::Binary ? u"data in Base64"_s : VXAttributeTypeName(type);
}

QString setAttribute(VXManagedObject &object, const VXAttributeDescription &attribute, const QJsonValue &value)
{
    const std::optional<QVariant> fit =
        VXAttributeValue(attribute.type(), value.isNull() ? QVariant() : attributeFromJSON(attribute, value));
    if (!fit)
        return u"\"%1\": %2 is no %3"_s.arg(attribute.name(), QString::fromUtf8(VXJSONText(value)),
                                            nameOf(attribute.type()));
    object.setAttribute(attribute.index(), *fit);
    return {};
}

VXManagedObjectPtr relatedFromJSON(VXManagedObjectContext &context, const VXRelationshipDescription &relationship,
                                   const QJsonValue &uri, QString *problem)
{
    VXManagedObjectPtr object;
    if (uri.isString())
        object = VXObjectNamed(context, uri.toString(), problem);
    else
        *problem = QString::fromUtf8(VXJSONText(uri)) + " is no object's URI"_L1;
    if (object && !object->entity().isKindOfEntity(relationship.destination()))
        *problem = u"%1 is no %2"_s.arg(uri.toString(), relationship.destination().name());
    if (problem->isNull())
        return object;
    *problem = u"\"%1\": %2"_s.arg(relationship.name(), *problem);
    return nullptr;
}

QString setRelationship(VXManagedObjectContext &context, VXManagedObject &object,
                        const VXRelationshipDescription &relationship, const QJsonValue &value)
{
    QString problem;
    if (!relationship.isToMany()) {
        const VXManagedObjectPtr related =
            value.isNull() ? VXManagedObjectPtr() : relatedFromJSON(context, relationship, value, &problem);
        if (problem.isNull())
            object.setRelated(relationship.index(), related);
        return problem;
    }
    if (!value.isArray())
        return u"\"%1\": %2 is no list of URIs"_s.arg(relationship.name(), QString::fromUtf8(VXJSONText(value)));
    QList<VXManagedObjectPtr> objects;
    for (const auto element : value.toArray()) {
        objects.append(relatedFromJSON(context, relationship, element, &problem));
        if (!problem.isNull())
            return problem;
    }
    object.setRelatedObjects(relationship.index(), objects);
    return {};
}

} // namespace

QJsonObject VXJSONFromObject(const VXManagedObject &object, bool withRelatedURIs)
{
    QJsonObject json{{u"uri"_s, VXURIOfObject(object)}, {u"entity"_s, object.entity().name()}};
    for (const VXAttributeDescription *const attribute : object.entity().attributes()) {
        if (!attribute->isTransient())
            json.insert(attribute->name(), VXJSONFromVariant(object.attribute(attribute->index())));
    }
    for (const VXRelationshipDescription *const relationship : object.entity().relationships()) {
        if (!relationship->isTransient())
            json.insert(relationship->name(), jsonOfRelationship(object, *relationship, withRelatedURIs));
    }
    return json;
}

QString VXSetObjectFromJSON(VXManagedObjectContext &context, VXManagedObject &object, const QJsonObject &values)
{
    for (auto entry = values.constBegin(); entry != values.constEnd(); ++entry) {
        const VXPropertyDescription *const property = object.entity().propertyForName(entry.key());
        if (property == nullptr)
            return u"entity %1 has no \"%2\""_s.arg(object.entity().name(), entry.key()) +
                   VXDidYouMean(entry.key(), VXNamesOfProperties(object.entity()));
        const QString problem = property->asAttribute() != nullptr
                                    ? setAttribute(object, *property->asAttribute(), entry.value())
                                    : setRelationship(context, object, *property->asRelationship(), entry.value());
        if (!problem.isNull())
            return problem;
    }
    return {};
}
