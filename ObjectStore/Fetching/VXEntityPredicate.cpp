#include "VXEntityPredicate.h"

#include "VXContainer.h"
#include "VXNone.h"
#include "VXNumber.h"
#include "VXNumberRange.h"
#include "VXValueComparison.h"

#include <QtCore/QDateTime>

using namespace Qt::StringLiterals;

using Kind = VXExpression::Kind;
using Modifier = VXPredicate::Modifier;
using Operator = VXPredicate::Operator;

namespace {

bool isTextOperator(Operator comparison)
{
    return comparison >= Operator::BeginsWith && comparison <= Operator::Matches;
}

bool isOrdering(Operator comparison)
{
    return comparison >= Operator::Less && comparison <= Operator::GreaterOrEqual;
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
    /** `comparison`: how the property compares with this side. `mustHold`: for some value at least. */
    Side(const QStringList &keys, const VXEntityPath &path, const VXPredicate &predicate, Operator comparison,
         bool mustHold)
        : _name(keys.join(u'.')), _path(path), _predicate(predicate), _comparison(comparison), _mustHold(mustHold)
    {
    }

    std::optional<VXExpression> fit(const VXExpression &expression, QString *problem) const
    {
        if (expression.kind() != Kind::Constant || _path.leadsInside)
            return expression;
        const std::optional<QVariant> made = VXIsList(expression.value())
                                                 ? fitEach(expression.value().toList(), problem)
                                                 : fit(expression.value(), problem);
        return made && canHold(*made, problem) ? std::optional(VXExpression::constant(*made)) : std::nullopt;
    }

private:
    std::optional<QVariant> fitEach(const QVariantList &list, QString *problem) const
    {
        QVariantList values;
        for (const QVariant &element : list) {
            const std::optional<QVariant> made = fit(element, problem);
            if (!made)
                return std::nullopt;
            values.append(*made);
        }
        return values;
    }

    std::optional<VXNumberRange> rangeOfPath() const
    {
        if (_path.property == nullptr)
            return VXNumberRange::ofCount();
        const VXAttributeDescription *const attribute = _path.property->asAttribute();
        return attribute == nullptr ? std::nullopt : VXNumberRange::ofType(attribute->type());
    }

    bool comparesLists() const { return _path.isToMany && _predicate.modifier() == Modifier::Direct; }

    bool canHold(const QVariant &value, QString *problem) const
    {
        const std::optional<VXNumberRange> range = _mustHold && !comparesLists() ? rangeOfPath() : std::nullopt;
        if (!range || range->canBe(_comparison, value))
            return true;
        *problem = u"%1 never holds: \"%2\" is a whole number from %3 to %4"_s.arg(
            _predicate.predicateFormat(), _name, QString::number(range->least), QString::number(range->most));
        return false;
    }

    std::optional<QVariant> fit(const QVariant &value, QString *problem) const
    {
        const VXAttributeDescription *const attribute =
            _path.property == nullptr ? nullptr : _path.property->asAttribute();
        if (_path.property != nullptr && attribute == nullptr) { // leads to objects
            const bool isObject = VXIsNone(value) || value.typeId() >= QMetaType::User;
            if (!isObject)
                *problem = u"\"%1\" leads to objects: %2 is none"_s.arg(_name, textOf(value));
            return isObject ? std::optional(value) : std::nullopt;
        }
        const VXAttributeType type = attribute == nullptr ? VXAttributeType::Integer64 : attribute->type();
        const bool comparesTexts = isTextOperator(_comparison) && !comparesLists();
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
    const VXPredicate &_predicate;
    const Operator _comparison;
    const bool _mustHold;
};

// Whether a path to many values may equal it: another list, or none, as where the path ends before it.
bool mayBeMany(const VXExpression &expression)
{
    return expression.kind() == Kind::Variable || expression.kind() == Kind::Aggregate ||
           (expression.kind() == Kind::Constant && (VXIsNone(expression.value()) || VXIsList(expression.value())));
}

// What is wrong with a comparison whatever the types are; null for nothing.
QString problemOfForm(const VXPredicate &predicate, const VXEntityPath &leftPath, const VXEntityPath &rightPath,
                      bool mustHold)
{
    const Operator comparison = predicate.comparisonOperator();
    const VXExpression &right = predicate.right();
    const bool isConstant = right.kind() == Kind::Constant;
    const bool isLeftList = leftPath.isToMany && predicate.modifier() == Modifier::Direct;
    const bool isEquality = comparison == Operator::Equal || comparison == Operator::NotEqual;
    const bool isLeftMistaken =
        isLeftList && !rightPath.isToMany && comparison != Operator::Contains && !(isEquality && mayBeMany(right));
    const bool isRightMistaken =
        rightPath.isToMany && !isLeftList && comparison != Operator::In && !(isEquality && mayBeMany(predicate.left()));
    if (isLeftMistaken || isRightMistaken)
        return u"\"%1\" leads to many values: write it first, after ANY, ALL or NONE"_s.arg(
            (isLeftMistaken ? predicate.left() : right).keys().join(u'.'));
    if (mustHold && isConstant && VXIsNone(right.value()) && (isOrdering(comparison) || isTextOperator(comparison)) &&
        !(isLeftList && comparison == Operator::Contains))
        return u"%1 never holds: no value is neither less nor greater, and no part of a text"_s.arg(
            predicate.predicateFormat());
    if (comparison == Operator::Matches && isConstant && right.value().typeId() == QMetaType::QString) {
        const QRegularExpression pattern = VXMatchesPattern(right.value().toString(), predicate.options());
        return pattern.isValid() ? QString() : u"%1 is no pattern: %2"_s.arg(right.format(), pattern.errorString());
    }
    if (comparison != Operator::Between || (!isConstant && right.kind() != Kind::Aggregate))
        return {};
    const QVariantList bounds = VXIsList(right.value()) ? right.value().toList() : QVariantList();
    if (bounds.size() + right.elements().size() != 2)
        return u"BETWEEN takes two values, as {1, 2}: %1 is something else"_s.arg(right.format());
    const bool isReversed = mustHold && !bounds.isEmpty() &&
                            bounds[0].typeId() != QMetaType::QString && // texts may be converted
                            VXCompareValues(bounds[0], bounds[1]) > 0;
    return isReversed ? u"BETWEEN takes the lesser value first: %1 never holds"_s.arg(right.format()) : QString();
}

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
                                         bool isNegated, QString *problem)
{
    // ALL holds for no values at all; NONE and NOT hold for what there cannot be.
    const bool mustHold =
        !isNegated && (predicate.modifier() == Modifier::Direct || predicate.modifier() == Modifier::Any);
    const std::optional<VXEntityPath> leftPath = pathOf(predicate.left(), entity, problem);
    const std::optional<VXEntityPath> rightPath = leftPath ? pathOf(predicate.right(), entity, problem) : std::nullopt;
    if (!rightPath)
        return std::nullopt;
    if (const QString mistake = problemOfForm(predicate, *leftPath, *rightPath, mustHold); !mistake.isNull()) {
        *problem = mistake;
        return std::nullopt;
    }
    const Operator comparison = predicate.comparisonOperator();
    const Side ofLeft(predicate.left().keys(), *leftPath, predicate, comparison, mustHold);
    const Side ofRight(predicate.right().keys(), *rightPath, predicate, VXMirrored(comparison), mustHold);
    const std::optional<VXExpression> right = ofLeft.fit(predicate.right(), problem);
    const std::optional<VXExpression> left = right ? ofRight.fit(predicate.left(), problem) : std::nullopt;
    if (!left)
        return std::nullopt;
    return VXPredicate::comparison(*left, comparison, *right, predicate.options(), predicate.modifier());
}

std::optional<VXPredicate> predicateFor(const VXPredicate &predicate, const VXEntityDescription &entity, bool isNegated,
                                        QString *problem)
{
    using PredicateKind = VXPredicate::Kind;
    if (predicate.kind() == PredicateKind::Comparison)
        return comparisonFor(predicate, entity, isNegated, problem);
    const bool arePartsNegated = isNegated != (predicate.kind() == PredicateKind::Not);
    QList<VXPredicate> parts;
    for (const VXPredicate &part : predicate.subpredicates()) {
        const std::optional<VXPredicate> made = predicateFor(part, entity, arePartsNegated, problem);
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
    return predicateFor(predicate, entity, false, problem);
}
