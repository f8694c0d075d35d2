#include "VXSmartFilterRow.h"

#include "VXAttributeType.h"
#include "VXContainer.h"
#include "VXFramework.h"
#include "VXManagedObjectContext.h"
#include "VXNone.h"
#include "VXSmartFilter.h"
#include "VXSmartFilterValues.h"

#include <algorithm>

using namespace Qt::StringLiterals;

using Kind = VXExpression::Kind;
using Operator = VXPredicate::Operator;

const QString VXSmartFilterRow::entityName = u"VXSmartFilterRow"_s;

namespace {

VXSmartFilterPtr asFilter(const VXManagedObjectPtr &object)
{
    return VXSmartFilterPtr(dynamic_cast<VXSmartFilter *>(object.get()));
}

bool isText(const QVariant &value)
{
    return value.typeId() == QMetaType::QString;
}

bool takesList(Operator comparison)
{
    return comparison == Operator::In || comparison == Operator::Between;
}

// Why the operator cannot take the pattern; null when it can.
QString problemOfPattern(Operator comparison, const QVariant &pattern, VXTextOptions options)
{
    if (comparison == Operator::Between && pattern.toList().size() != 2)
        return VXLocalizedString(u"\"%1\" takes two values."_s);
    if (takesList(comparison) != VXIsList(pattern) || pattern.typeId() == QMetaType::QVariantMap)
        return takesList(comparison) ? VXLocalizedString(u"\"%1\" takes a list of values."_s)
                                     : VXLocalizedString(u"\"%1\" takes one value."_s);
    if (VXSmartFilterIsTextOperator(comparison) && !isText(pattern))
        return VXLocalizedString(u"\"%1\" takes a text."_s);
    if (comparison == Operator::Matches && !VXMatchesPattern(pattern.toString(), options).isValid())
        return VXLocalizedString(u"The pattern of \"%1\" is no regular expression."_s);
    return {};
}

VXExpression expressionOf(const QVariant &pattern)
{
    if (!VXIsList(pattern))
        return VXExpression::constant(VXIsNone(pattern) ? QVariant() : pattern);
    QList<VXExpression> elements;
    for (const QVariant &element : pattern.toList())
        elements.append(VXExpression::constant(element));
    return VXExpression::aggregate(elements);
}

// The value of the expression as a row stores it; empty when a row cannot store it.
std::optional<QVariant> patternOf(const VXExpression &expression)
{
    if (expression.kind() != Kind::Constant)
        return std::nullopt;
    if (VXIsList(expression.value())) {
        const QVariantList values = expression.value().toList();
        const auto fitsNoList = [](const QVariant &value) { return VXIsNone(value) || VXIsList(value); };
        if (std::any_of(values.cbegin(), values.cend(), fitsNoList))
            return std::nullopt;
    }
    return VXAttributeValue(VXAttributeType::PropertyList, expression.value());
}

} // namespace

// -- Values

VXSmartFilterPtr VXSmartFilterRow::filter() const
{
    return asFilter(valueForKey(u"filter"_s).value<VXManagedObjectPtr>());
}

VXSmartFilterPtr VXSmartFilterRow::nestedFilter() const
{
    return asFilter(valueForKey(u"nested"_s).value<VXManagedObjectPtr>());
}

QString VXSmartFilterRow::attributeName() const
{
    return valueForKey(u"attributeName"_s).toString();
}

QString VXSmartFilterRow::comparison() const
{
    return valueForKey(u"comparison"_s).toString();
}

QString VXSmartFilterRow::options() const
{
    return valueForKey(u"options"_s).toString();
}

QVariant VXSmartFilterRow::pattern() const
{
    return valueForKey(u"pattern"_s);
}

// -- The predicate

bool VXSmartFilterRow::canExpress(const VXPredicate &comparison)
{
    const std::optional<QVariant> pattern = patternOf(comparison.right());
    return comparison.modifier() == VXPredicate::Modifier::Direct && comparison.left().kind() == Kind::KeyPath &&
           pattern && problemOfPattern(comparison.comparisonOperator(), *pattern, comparison.options()).isNull();
}

void VXSmartFilterRow::setPredicate(const VXPredicate &comparison)
{
    setValueForKey(comparison.left().keys().join(u'.'), u"attributeName"_s);
    setValueForKey(VXSmartFilterOperatorName(comparison.comparisonOperator()), u"comparison"_s);
    setValueForKey(patternOf(comparison.right()).value_or(QVariant()), u"pattern"_s);
    setValueForKey(VXSmartFilterOptionsName(comparison.options()), u"options"_s);
}

std::optional<VXPredicate> VXSmartFilterRow::predicate(VXError *error) const
{
    const auto fail = [error](const QString &reason) -> std::optional<VXPredicate> {
        VXFailFilter(error, reason);
        return std::nullopt;
    };
    const QString attribute = attributeName();
    if (attribute.isEmpty())
        return fail(VXLocalizedString(u"A row names no attribute."_s));
    const std::optional<Operator> found = VXSmartFilterOperatorFromName(comparison());
    if (!found)
        return fail(VXLocalizedString(u"There is no operator \"%1\"."_s).arg(comparison()));
    const std::optional<VXTextOptions> asked = VXSmartFilterOptionsFromName(options());
    if (!asked)
        return fail(VXLocalizedString(u"\"%1\" is no way to compare texts."_s).arg(options()));
    const QVariant value = pattern();
    if (const QString problem = problemOfPattern(*found, value, *asked); !problem.isNull())
        return fail(problem.arg(comparison()));
    const QVariantList values = VXIsList(value) ? value.toList() : QVariantList{value};
    const bool comparesTexts = std::any_of(values.cbegin(), values.cend(), isText);
    return VXPredicate::comparison(VXExpression::keyPath(attribute), *found, expressionOf(value),
                                   comparesTexts ? *asked : VXTextOptions());
}

// Updates the text of the filter that the row belongs to, and of the one it belonged to before.
void VXSmartFilterRow::willSave()
{
    const auto before = committedValues({u"filter"_s}).value(u"filter"_s).value<VXManagedObjectPtr>();
    for (const VXSmartFilterPtr &each : {filter(), asFilter(before)}) {
        if (each)
            each->updatePredicateTexts();
    }
}
