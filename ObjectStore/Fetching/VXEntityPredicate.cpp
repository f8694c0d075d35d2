#include "VXEntityPredicate.h"

#include "VXNone.h"
#include "VXNumber.h"

#include <QtCore/QDateTime>

using namespace Qt::StringLiterals;

using Kind = VXExpression::Kind;
using Operator = VXPredicate::Operator;

namespace {

bool isList(const QVariant &value)
{
    return value.typeId() == QMetaType::QVariantList;
}

bool isTextOperator(Operator comparison)
{
    return comparison >= Operator::BeginsWith && comparison <= Operator::Matches;
}

bool isNumberType(VXAttributeType type)
{
    return type <= VXAttributeType::Boolean;
}

std::optional<QVariant> numberFromText(const QString &text)
{
    bool isNumber = false;
    if (const qlonglong whole = text.toLongLong(&isNumber); isNumber)
        return whole;
    if (const double real = text.toDouble(&isNumber); isNumber)
        return real;
    return std::nullopt;
}

std::optional<QVariant> truthFromText(const QString &text)
{
    const QString word = text.toLower();
    if (word == "true"_L1 || word == "yes"_L1)
        return true;
    return word == "false"_L1 || word == "no"_L1 ? std::optional<QVariant>(false) : numberFromText(text);
}

// The value converted for comparison with attributes of the type; empty when that is not possible.
std::optional<QVariant> ofType(VXAttributeType type, const QVariant &value)
{
    const bool isText = value.typeId() == QMetaType::QString;
    if (VXIsNone(value) || type == VXAttributeType::PropertyList)
        return value;
    if (isNumberType(type)) {
        if (isText)
            return type == VXAttributeType::Boolean ? truthFromText(value.toString())
                                                    : numberFromText(value.toString());
        const bool isNumber =
            value.typeId() == QMetaType::Bool || VXIsWholeNumber(value.metaType()) || VXIsRealNumber(value.metaType());
        return isNumber ? std::optional(value) : std::nullopt;
    }
    if (type == VXAttributeType::Date && isText) {
        const QDateTime date = QDateTime::fromString(value.toString(), Qt::ISODateWithMs);
        return date.isValid() ? std::optional<QVariant>(date.toUTC()) : std::nullopt;
    }
    return VXAttributeValue(type, value);
}

QString textOf(const QVariant &value)
{
    return VXExpression::constant(value).format();
}

/** One side of a comparison, converted to match the property on the other side. */
class Side
{
public:
    Side(const QStringList &keys, const VXEntityPath &path, const VXPredicate &comparison)
        : _name(keys.join(u'.')), _path(path), _comparison(comparison.comparisonOperator())
    {
    }

    std::optional<VXExpression> fit(const VXExpression &expression, QString *problem) const
    {
        if (expression.kind() != Kind::Constant || _path.leadsInside)
            return expression;
        const QVariant &value = expression.value();
        if (!isList(value)) {
            const std::optional<QVariant> made = fit(value, problem);
            return made ? std::optional(VXExpression::constant(*made)) : std::nullopt;
        }
        QVariantList values;
        for (const QVariant &element : value.toList()) {
            const std::optional<QVariant> made = fit(element, problem);
            if (!made)
                return std::nullopt;
            values.append(*made);
        }
        return VXExpression::constant(values);
    }

private:
    std::optional<QVariant> fit(const QVariant &value, QString *problem) const
    {
        const VXAttributeDescription *const attribute =
            _path.property == nullptr ? nullptr : _path.property->asAttribute();
        if (_path.property != nullptr && attribute == nullptr) { // leads to objects
            const bool isText = value.typeId() == QMetaType::QString;
            if (isText)
                *problem = u"\"%1\" leads to objects: %2 is none"_s.arg(_name, textOf(value));
            return isText ? std::nullopt : std::optional(value);
        }
        const VXAttributeType type = attribute == nullptr ? VXAttributeType::Integer64 : attribute->type();
        const bool comparesTexts = isTextOperator(_comparison) && !_path.isToMany;
        if (comparesTexts && type != VXAttributeType::String && type != VXAttributeType::PropertyList) {
            *problem = u"\"%1\" is of the type %2, and no text"_s.arg(_name, VXAttributeTypeName(type));
            return std::nullopt;
        }
        std::optional<QVariant> made = ofType(type, value);
        if (!made)
            *problem = u"\"%1\" is of the type %2: %3 is none"_s.arg(_name, VXAttributeTypeName(type), textOf(value));
        return made;
    }

    const QString _name;
    const VXEntityPath &_path;
    const Operator _comparison;
};

std::optional<VXEntityPath> pathOf(const VXExpression &expression, const VXEntityDescription &entity, QString *problem)
{
    if (expression.kind() == Kind::KeyPath)
        return VXEntityPath::follow(entity, expression.keys(), problem);
    for (const VXExpression &element : expression.elements()) {
        if (!pathOf(element, entity, problem))
            return std::nullopt;
    }
    return VXEntityPath{.leadsInside = true}; // nothing is known about it
}

std::optional<VXPredicate> comparisonFor(const VXPredicate &predicate, const VXEntityDescription &entity,
                                         QString *problem)
{
    const std::optional<VXEntityPath> leftPath = pathOf(predicate.left(), entity, problem);
    const std::optional<VXEntityPath> rightPath = leftPath ? pathOf(predicate.right(), entity, problem) : std::nullopt;
    if (!rightPath)
        return std::nullopt;
    const auto right = Side(predicate.left().keys(), *leftPath, predicate).fit(predicate.right(), problem);
    const auto left =
        right ? Side(predicate.right().keys(), *rightPath, predicate).fit(predicate.left(), problem) : std::nullopt;
    if (!left)
        return std::nullopt;
    return VXPredicate::comparison(*left, predicate.comparisonOperator(), *right, predicate.options(),
                                   predicate.modifier());
}

} // namespace

std::optional<VXEntityPath> VXEntityPath::follow(const VXEntityDescription &entity, const QStringList &keys,
                                                 QString *problem)
{
    const VXEntityDescription *at = &entity;
    VXEntityPath path;
    for (qsizetype index = 0; index < keys.size(); ++index) {
        const QString &key = keys[index];
        const bool isLast = index + 1 == keys.size();
        if (key == "@count"_L1 && isLast && path.isToMany)
            return VXEntityPath{};
        path.property = at->propertyForName(key);
        if (path.property == nullptr) {
            *problem = u"entity %1 has no \"%2\""_s.arg(at->name(), key);
            return std::nullopt;
        }
        if (const VXRelationshipDescription *const relationship = path.property->asRelationship()) {
            path.isToMany = path.isToMany || relationship->isToMany();
            at = &relationship->destination();
        } else if (!isLast && path.property->asAttribute()->type() != VXAttributeType::PropertyList) {
            *problem = u"\"%1\" of %2 is an attribute: \"%3\" leads nowhere"_s.arg(key, at->name(), keys[index + 1]);
            return std::nullopt;
        } else {
            path.leadsInside = path.property->asAttribute()->type() == VXAttributeType::PropertyList;
            break; // the contents of a property list are unknown
        }
    }
    return path;
}

QString VXSortProblem(const QList<VXSortDescriptor> &order, const VXEntityDescription &entity)
{
    for (const VXSortDescriptor &each : order) {
        QString problem;
        const std::optional<VXEntityPath> end = VXEntityPath::follow(entity, each.key.split(u'.'), &problem);
        if (!end)
            return problem;
        if (end->isToMany || (end->property != nullptr && end->property->asAttribute() == nullptr))
            return u"\"%1\" leads to %2, which have no order"_s.arg(each.key,
                                                                    end->isToMany ? "many values"_L1 : "objects"_L1);
    }
    return {};
}

std::optional<VXPredicate> VXPredicateForEntity(const VXPredicate &predicate, const VXEntityDescription &entity,
                                                QString *problem)
{
    using PredicateKind = VXPredicate::Kind;
    if (predicate.kind() == PredicateKind::Comparison)
        return comparisonFor(predicate, entity, problem);
    QList<VXPredicate> parts;
    for (const VXPredicate &part : predicate.subpredicates()) {
        const std::optional<VXPredicate> made = VXPredicateForEntity(part, entity, problem);
        if (!made)
            return std::nullopt;
        parts.append(*made);
    }
    switch (predicate.kind()) {
    case PredicateKind::And:
        return VXPredicate::allOf(parts);
    case PredicateKind::Or:
        return VXPredicate::anyOf(parts);
    case PredicateKind::Not:
        return VXPredicate::negationOf(parts.constFirst());
    default:
        return predicate;
    }
}
