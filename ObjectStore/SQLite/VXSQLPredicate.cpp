#include "VXSQLPredicate.h"

#include "VXNone.h"
#include "VXNumberRange.h"
#include "VXSQLiteSchema.h"

#include <QtCore/QScopeGuard>

#include <algorithm>

using namespace Qt::StringLiterals;

using Kind = VXPredicate::Kind;
using Modifier = VXPredicate::Modifier;
using Operator = VXPredicate::Operator;

namespace {

constexpr int maximumDepth = 12;            // SQLite's parser does not support much more
constexpr qsizetype maximumValues = 30000;  // parameters per statement
constexpr qsizetype maximumPartCount = 200; // without brackets, as SQLite counts a sequence as nesting

QString negated(const QString &condition)
{
    return u'(' + condition + " IS NOT TRUE)"_L1;
}

QString truth(bool value)
{
    return value ? u"1"_s : u"0"_s;
}

bool isFixed(const VXExpression &expression)
{
    if (expression.kind() == VXExpression::Kind::Aggregate)
        return std::all_of(expression.elements().cbegin(), expression.elements().cend(), isFixed);
    return expression.kind() == VXExpression::Kind::Constant;
}

// "5 < age" as "age > 5".
VXPredicate turned(const VXPredicate &predicate)
{
    const Operator comparison = predicate.comparisonOperator();
    if (comparison > Operator::GreaterOrEqual || predicate.modifier() != Modifier::Direct || !isFixed(predicate.left()))
        return predicate;
    return VXPredicate::comparison(predicate.right(), VXMirrored(comparison), predicate.left(), predicate.options());
}

} // namespace

QString VXSQLJoined(const QStringList &parts, QLatin1StringView word)
{
    if (parts.size() <= maximumPartCount)
        return u'(' + parts.join(word) + u')';
    QStringList groups;
    for (qsizetype start = 0; start < parts.size(); start += maximumPartCount)
        groups.append(u'(' + parts.mid(start, maximumPartCount).join(word) + u')');
    return VXSQLJoined(groups, word);
}

bool VXSQLPredicate::add(const VXPredicate &predicate)
{
    if (predicate.kind() == Kind::True)
        return true;
    if (predicate.kind() == Kind::And) {
        bool isWhole = true;
        for (const VXPredicate &part : predicate.subpredicates())
            isWhole = add(part) && isWhole;
        return isWhole;
    }
    const qsizetype valueCount = _values.size();
    try {
        const QString condition = compile(predicate);
        if (_values.size() > maximumValues)
            throw Unsupported{};
        _conditions.append(condition);
        _isSelective = _isSelective || leadsToRows(predicate);
        return true;
    } catch (const Unsupported &) {
        _values.resize(valueCount);
        return false;
    }
}

QString VXSQLPredicate::conditions() const
{
    return _conditions.isEmpty() ? QString() : VXSQLJoined(_conditions, " AND "_L1);
}

QString VXSQLPredicate::parameter(const QVariant &value)
{
    _values.append(value);
    return u'?' + QString::number(_values.size());
}

QString VXSQLPredicate::compile(const VXPredicate &predicate)
{
    if (++_depth > maximumDepth)
        throw Unsupported{};
    const auto leave = qScopeGuard([this] { --_depth; });
    switch (predicate.kind()) {
    case Kind::True:
    case Kind::False:
        return truth(predicate.kind() == Kind::True);
    case Kind::Not:
        return negated(compile(predicate.subpredicates().constFirst()));
    case Kind::Comparison:
        return comparison(turned(predicate));
    case Kind::And:
    case Kind::Or:
        break;
    }
    const VXPredicate shortest = predicate.joined();
    if (shortest.kind() != predicate.kind())
        return comparison(shortest);
    QStringList parts;
    for (const VXPredicate &part : shortest.subpredicates())
        parts.append(compile(part));
    return VXSQLJoined(parts, predicate.kind() == Kind::And ? " AND "_L1 : " OR "_L1);
}

QString VXSQLPredicate::comparison(const VXPredicate &predicate)
{
    if (!predicate.variables().isEmpty())
        return truth(false);
    if (isFixed(predicate.left()) && isFixed(predicate.right()))
        return truth(predicate.evaluateWithObject({}));
    const Operand left = operand(predicate.left());
    const Operand right = operand(predicate.right());
    return predicate.modifier() == Modifier::Direct ? direct(predicate, left, right) : modified(predicate, left, right);
}

// ANY, ALL and NONE consider the elements that are not none one by one; a single value is the only element.
QString VXSQLPredicate::modified(const VXPredicate &predicate, const Operand &left, const Operand &right)
{
    if (left.shape != Operand::Shape::Path)
        throw Unsupported{};
    const auto condition = [&](const Scalar &element) {
        return holds(element, predicate.comparisonOperator(), right, predicate.options(), false);
    };
    if (predicate.modifier() == Modifier::Any)
        return some(left.path, condition);
    if (predicate.modifier() == Modifier::None)
        return negated(some(left.path, condition));
    return negated(some(left.path, [&](const Scalar &element) {
        return u"(%1 IS NOT NULL AND %2)"_s.arg(element.sql, negated(condition(element)));
    }));
}

QString VXSQLPredicate::direct(const VXPredicate &predicate, const Operand &left, const Operand &right)
{
    const Operator comparison = predicate.comparisonOperator();
    const VXTextOptions options = predicate.options();
    const auto isCollection = [](const Operand &operand) { return operand.path.collectionCount > 0; };
    if (comparison == Operator::Contains && left.shape == Operand::Shape::List && !isCollection(right))
        return oneOf(scalar(right), left.elements, options, true);
    if (comparison == Operator::Contains && isCollection(left))
        return contains(left.path, right, options);
    if (comparison == Operator::In && isCollection(right))
        return contains(right.path, left, options);
    if (comparison == Operator::NotEqual)
        return negated(direct(VXPredicate::comparison(predicate.left(), Operator::Equal, predicate.right(), options),
                              left, right));
    // If none cannot match on the left, the matching rows are found first, by an index if there is one.
    const auto isNeverNone = [](const VXExpression &element) {
        return element.kind() == VXExpression::Kind::Constant && !VXIsNone(element.value());
    };
    const bool isSure = (comparison != Operator::Equal && comparison != Operator::In) ||
                        (right.shape == Operand::Shape::Constant && right.scalar.family != Family::None) ||
                        (right.shape == Operand::Shape::List &&
                         std::all_of(right.elements.cbegin(), right.elements.cend(), isNeverNone));
    if (left.shape == Operand::Shape::Path && !isCollection(left) && isSure)
        return some(left.path, [&](const Scalar &value) { return holds(value, comparison, right, options, false); });
    return holds(scalar(left), comparison, right, options, true);
}

QString VXSQLPredicate::order(const VXSortDescriptor &descriptor)
{
    try {
        const Scalar key = folded(scalar(operand(VXExpression::keyPath(descriptor.key))), descriptor.options);
        if (key.family == Family::Object || key.family == Family::Other)
            return {};
        QString sql = key.sql;
        if (key.isReal) // NaN has no place in the order, and sorts with none
            sql = u"iif(%1 <= 9e999, %1, NULL)"_s.arg(sql);
        if (key.family == Family::Text)
            sql += " COLLATE VXTEXT"_L1;
        return sql + (descriptor.isAscending ? " ASC"_L1 : " DESC"_L1);
    } catch (const Unsupported &) {
        return {};
    }
}

// Judged by the first property on the left: attributes may have an index, relationships always do.
bool VXSQLPredicate::leadsToRows(const VXPredicate &predicate) const
{
    if (predicate.kind() != Kind::Comparison || predicate.modifier() == Modifier::All ||
        predicate.modifier() == Modifier::None || predicate.comparisonOperator() == Operator::NotEqual)
        return false;
    const VXExpression &left = predicate.left();
    if (left.kind() == VXExpression::Kind::Self)
        return true;
    const VXPropertyDescription *const property =
        left.kind() == VXExpression::Kind::KeyPath ? _entity.propertyForName(left.keys().constFirst()) : nullptr;
    if (property == nullptr)
        return false;
    const VXAttributeDescription *const attribute = property->asAttribute();
    const Operator compares = predicate.comparisonOperator();
    const bool isBounded = compares <= Operator::GreaterOrEqual || compares == Operator::In ||
                           compares == Operator::Between || (compares == Operator::BeginsWith && !predicate.options());
    return attribute == nullptr || (attribute->isIndexed() && isBounded);
}
