#include "VXSmartFilterValues.h"

#include "VXErrorDomain.h"
#include "VXFramework.h"

#include <algorithm>
#include <iterator>

using namespace Qt::StringLiterals;

using Operator = VXPredicate::Operator;

namespace {

struct OperatorName
{
    Operator comparison;
    QLatin1StringView name;
};

constexpr OperatorName operators[] = {
    {Operator::Equal, "=="_L1},
    {Operator::NotEqual, "!="_L1},
    {Operator::Less, "<"_L1},
    {Operator::LessOrEqual, "<="_L1},
    {Operator::Greater, ">"_L1},
    {Operator::GreaterOrEqual, ">="_L1},
    {Operator::BeginsWith, "BEGINSWITH"_L1},
    {Operator::EndsWith, "ENDSWITH"_L1},
    {Operator::Contains, "CONTAINS"_L1},
    {Operator::Like, "LIKE"_L1},
    {Operator::Matches, "MATCHES"_L1},
    {Operator::In, "IN"_L1},
    {Operator::Between, "BETWEEN"_L1},
};

} // namespace

QString VXSmartFilterOperatorName(Operator comparison)
{
    return std::ranges::find(operators, comparison, &OperatorName::comparison)->name;
}

std::optional<Operator> VXSmartFilterOperatorFromName(const QString &name)
{
    const auto *const found = std::ranges::find_if(
        operators, [&](const OperatorName &each) { return name.compare(each.name, Qt::CaseInsensitive) == 0; });
    return found == std::end(operators) ? std::nullopt : std::optional(found->comparison);
}

bool VXSmartFilterIsTextOperator(Operator comparison)
{
    return comparison >= Operator::BeginsWith && comparison <= Operator::Matches;
}

QString VXSmartFilterOptionsName(VXTextOptions options)
{
    QString name = u""_s;
    if (options.testFlag(VXTextOption::CaseInsensitive))
        name += u'c';
    if (options.testFlag(VXTextOption::DiacriticInsensitive))
        name += u'd';
    return name;
}

std::optional<VXTextOptions> VXSmartFilterOptionsFromName(const QString &name)
{
    VXTextOptions options;
    for (const QChar letter : name) {
        if (letter != u'c' && letter != u'd')
            return std::nullopt;
        options |= letter == u'c' ? VXTextOption::CaseInsensitive : VXTextOption::DiacriticInsensitive;
    }
    return options;
}

void VXFailFilter(VXError *error, const QString &reason)
{
    VXSetError(error, VXMakeFileError(VXLocalizedString(u"The filter cannot be used."_s), reason, {}));
}
