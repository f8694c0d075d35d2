#include "VXObjectPredicate.h"

#include <algorithm>

namespace {

using Replacement = std::function<QVariant(const QVariant &)>;

QVariant replaced(const QVariant &value, const Replacement &replacement)
{
    if (value.metaType() != QMetaType::fromType<QVariantList>())
        return replacement(value);
    QVariantList elements;
    for (const QVariant &element : value.toList())
        elements.append(replaced(element, replacement));
    return elements;
}

VXExpression replaced(const VXExpression &expression, const Replacement &replacement)
{
    if (expression.kind() == VXExpression::Kind::Constant)
        return VXExpression::constant(replaced(expression.value(), replacement));
    if (expression.kind() != VXExpression::Kind::Aggregate)
        return expression;
    QList<VXExpression> elements;
    for (const VXExpression &element : expression.elements())
        elements.append(replaced(element, replacement));
    return VXExpression::aggregate(elements);
}

bool holdsObject(const QVariant &value)
{
    if (value.metaType() != QMetaType::fromType<QVariantList>())
        return value.metaType() == QMetaType::fromType<VXManagedObjectPtr>();
    const auto &elements = *static_cast<const QVariantList *>(value.constData());
    return std::any_of(elements.cbegin(), elements.cend(), [](const QVariant &each) { return holdsObject(each); });
}

bool holdsObject(const VXExpression &expression)
{
    const QList<VXExpression> &elements = expression.elements();
    return holdsObject(expression.value()) ||
           std::any_of(elements.cbegin(), elements.cend(), [](const VXExpression &each) { return holdsObject(each); });
}

bool holdsObject(const VXPredicate &predicate)
{
    if (predicate.kind() == VXPredicate::Kind::Comparison)
        return holdsObject(predicate.left()) || holdsObject(predicate.right());
    const QList<VXPredicate> &parts = predicate.subpredicates();
    return std::any_of(parts.cbegin(), parts.cend(), [](const VXPredicate &part) { return holdsObject(part); });
}

} // namespace

VXPredicate VXPredicateWithConstants(const VXPredicate &predicate, const Replacement &replacement)
{
    QList<VXPredicate> parts;
    for (const VXPredicate &part : predicate.subpredicates())
        parts.append(VXPredicateWithConstants(part, replacement));
    switch (predicate.kind()) {
    case VXPredicate::Kind::True:
    case VXPredicate::Kind::False:
        break;
    case VXPredicate::Kind::And:
        return VXPredicate::allOf(parts);
    case VXPredicate::Kind::Or:
        return VXPredicate::anyOf(parts);
    case VXPredicate::Kind::Not:
        return VXPredicate::negationOf(parts.constFirst());
    case VXPredicate::Kind::Comparison:
        return VXPredicate::comparison(replaced(predicate.left(), replacement), predicate.comparisonOperator(),
                                       replaced(predicate.right(), replacement), predicate.options(),
                                       predicate.modifier());
    }
    return predicate;
}

VXPredicate VXPredicateWithIDs(const VXPredicate &predicate)
{
    if (!holdsObject(predicate)) // the usual case; checking is cheaper than making it anew
        return predicate;
    return VXPredicateWithConstants(predicate, [](const QVariant &value) {
        if (value.metaType() != QMetaType::fromType<VXManagedObjectPtr>())
            return value;
        const auto object = value.value<VXManagedObjectPtr>();
        return object ? QVariant::fromValue(object->objectID()) : QVariant();
    });
}

void VXSortObjects(QList<VXManagedObjectPtr> &objects, const QList<VXSortDescriptor> &descriptors)
{
    if (descriptors.isEmpty())
        return;
    const auto places = VXSortedPlaces(descriptors, objects.size(),
                                       [&](qsizetype place) { return QVariant::fromValue(objects.at(place)); });
    QList<VXManagedObjectPtr> sorted;
    sorted.reserve(objects.size());
    for (const qsizetype place : places)
        sorted.append(objects.at(place));
    objects = sorted;
}
