#include "VXRowObjects.h"

QVariant VXRowObjects::Object::valueForKey(const QString &key) const
{
    if (_stored == nullptr)
        return {};
    const VXPropertyDescription *const property = _stored->objectID.entity().propertyForName(key);
    if (property == nullptr)
        return {};
    const VXRelationshipDescription *const relationship = property->asRelationship();
    if (relationship == nullptr)
        return _stored->row->value(property->index());
    if (!relationship->isToMany()) {
        const VXManagedObjectID *const target = _stored->row->target(relationship->index());
        return target == nullptr ? QVariant() : _objects.object(*target);
    }
    QVariantList targets;
    for (const VXManagedObjectID &target : _objects._tables.targets(_stored->objectID, *relationship)) {
        if (_objects._tables.find(target) != nullptr)
            targets.append(_objects.object(target));
    }
    return targets;
}

QVariant VXRowObjects::object(const VXManagedObjectID &objectID)
{
    Object *&object = _byID[objectID];
    if (object == nullptr)
        object = &_made.emplace_back(*this, _tables.find(objectID));
    return QVariant::fromValue<VXKeyValueCoding *>(object);
}

VXPredicate VXRowObjects::withObjects(const VXPredicate &predicate)
{
    QList<VXPredicate> parts;
    switch (predicate.kind()) {
    case VXPredicate::Kind::True:
    case VXPredicate::Kind::False:
        return predicate;
    case VXPredicate::Kind::Not:
        return VXPredicate::negationOf(withObjects(predicate.subpredicates().constFirst()));
    case VXPredicate::Kind::Comparison:
        return VXPredicate::comparison(withObjects(predicate.left()), predicate.comparisonOperator(),
                                       withObjects(predicate.right()), predicate.options(), predicate.modifier());
    case VXPredicate::Kind::And:
    case VXPredicate::Kind::Or:
        break;
    }
    for (const VXPredicate &part : predicate.subpredicates())
        parts.append(withObjects(part));
    return predicate.kind() == VXPredicate::Kind::And ? VXPredicate::allOf(parts) : VXPredicate::anyOf(parts);
}

VXExpression VXRowObjects::withObjects(const VXExpression &expression)
{
    if (expression.kind() == VXExpression::Kind::Constant)
        return VXExpression::constant(withObjects(expression.value()));
    if (expression.kind() != VXExpression::Kind::Aggregate)
        return expression;
    QList<VXExpression> elements;
    for (const VXExpression &element : expression.elements())
        elements.append(withObjects(element));
    return VXExpression::aggregate(elements);
}

QVariant VXRowObjects::withObjects(const QVariant &value)
{
    if (value.metaType() == QMetaType::fromType<VXManagedObjectID>()) {
        const auto objectID = value.value<VXManagedObjectID>();
        return objectID.isNull() ? QVariant() : object(objectID);
    }
    if (value.metaType() != QMetaType::fromType<QVariantList>())
        return value;
    QVariantList elements;
    for (const QVariant &element : value.toList())
        elements.append(withObjects(element));
    return elements;
}
