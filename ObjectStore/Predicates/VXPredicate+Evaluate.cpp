#include "VXPredicate.h"

#include "VXConstantSet.h"
#include "VXContainer.h"
#include "VXNone.h"
#include "VXPatternMatching.h"
#include "VXValueComparison.h"

#include <algorithm>
#include <compare>

using Operator = VXPredicate::Operator;

namespace {

// The elements of a collection, with nested collections expanded; a single value gives itself.
void flatten(const QVariant &value, QVariantList &elements)
{
    if (!VXIsList(value)) {
        if (!VXIsNone(value))
            elements.append(value);
        return;
    }
    for (const QVariant &element : value.toList())
        flatten(element, elements);
}

QVariant folded(const QVariant &value, VXTextOptions options)
{
    return options && value.typeId() == QMetaType::QString ? VXFoldedText(value.toString(), options) : value;
}

bool isEqual(const QVariant &left, const QVariant &right, VXTextOptions options)
{
    return VXEqualValues(folded(left, options), folded(right, options));
}

// None is neither greater nor less than anything.
std::partial_ordering order(const QVariant &left, const QVariant &right, VXTextOptions options)
{
    if (VXIsNone(left) || VXIsNone(right))
        return std::partial_ordering::unordered;
    return VXCompareValues(folded(left, options), folded(right, options));
}

bool contains(const QVariantList &elements, const QVariant &value, VXTextOptions options)
{
    return std::any_of(elements.cbegin(), elements.cend(),
                       [&](const QVariant &element) { return isEqual(element, value, options); });
}

bool isBetween(const QVariant &value, const QVariant &bounds, VXTextOptions options)
{
    const QVariantList pair = bounds.toList();
    return pair.size() == 2 && std::is_gteq(order(value, pair[0], options)) &&
           std::is_lteq(order(value, pair[1], options));
}

bool compareTexts(Operator comparison, const QVariant &left, const QVariant &right, VXTextOptions options)
{
    if (left.typeId() != QMetaType::QString || right.typeId() != QMetaType::QString)
        return false;
    if (comparison == Operator::Like)
        return VXLikePattern(right.toString(), options).matches(left.toString());
    if (comparison == Operator::Matches) {
        const QRegularExpression pattern = VXMatchesPattern(right.toString(), options);
        return pattern.isValid() &&
               VXPatternMatches(pattern, VXFoldedText(left.toString(), options & VXTextOption::DiacriticInsensitive));
    }
    const QString text = VXFoldedText(left.toString(), options);
    const QString part = VXFoldedText(right.toString(), options);
    switch (comparison) {
    case Operator::BeginsWith:
        return text.startsWith(part);
    case Operator::EndsWith:
        return text.endsWith(part);
    default:
        return text.contains(part);
    }
}

bool compare(Operator comparison, const QVariant &left, const QVariant &right, VXTextOptions options)
{
    switch (comparison) {
    case Operator::Equal:
        return isEqual(left, right, options);
    case Operator::NotEqual:
        return !isEqual(left, right, options);
    case Operator::Less:
        return std::is_lt(order(left, right, options));
    case Operator::LessOrEqual:
        return std::is_lteq(order(left, right, options));
    case Operator::Greater:
        return std::is_gt(order(left, right, options));
    case Operator::GreaterOrEqual:
        return std::is_gteq(order(left, right, options));
    case Operator::Between:
        return isBetween(left, right, options);
    case Operator::In:
        return VXIsList(right) ? contains(right.toList(), left, options)
                               : compareTexts(Operator::Contains, right, left, options);
    case Operator::Contains:
        return VXIsList(left) ? contains(left.toList(), right, options)
                              : compareTexts(comparison, left, right, options);
    case Operator::BeginsWith:
    case Operator::EndsWith:
    case Operator::Like:
    case Operator::Matches:
        return compareTexts(comparison, left, right, options);
    }
    return false;
}

bool evaluateComparison(const VXPredicate &predicate, const QVariant &object)
{
    const QVariant left = predicate.left().evaluate(object);
    const QVariant right = predicate.constants() != nullptr ? QVariant() : predicate.right().evaluate(object);
    const auto holds = [&](const QVariant &value) {
        if (const VXConstantSet *const constants = predicate.constants(); constants != nullptr)
            return constants->contains(value);
        return compare(predicate.comparisonOperator(), value, right, predicate.options());
    };
    if (predicate.modifier() == VXPredicate::Modifier::Direct)
        return holds(left);
    QVariantList elements;
    flatten(left, elements);
    switch (predicate.modifier()) {
    case VXPredicate::Modifier::Any:
        return std::any_of(elements.cbegin(), elements.cend(), holds);
    case VXPredicate::Modifier::None:
        return std::none_of(elements.cbegin(), elements.cend(), holds);
    default:
        return std::all_of(elements.cbegin(), elements.cend(), holds);
    }
}

} // namespace

bool VXPredicate::evaluateWithObject(const QVariant &object) const
{
    const auto holds = [&](const VXPredicate &predicate) { return predicate.evaluateWithObject(object); };
    switch (kind()) {
    case Kind::True:
        return true;
    case Kind::False:
        return false;
    case Kind::And:
        return std::all_of(subpredicates().cbegin(), subpredicates().cend(), holds);
    case Kind::Or:
        if (const VXPredicate same = joined(); same._node != _node)
            return same.evaluateWithObject(object);
        return std::any_of(subpredicates().cbegin(), subpredicates().cend(), holds);
    case Kind::Not:
        return !holds(subpredicates().constFirst());
    case Kind::Comparison:
        return isComparable() && evaluateComparison(*this, object);
    }
    return false;
}
