#include "VXFilterField.h"

#include "VXDateText.h"
#include "VXInterface.h"
#include "VXTextLocale.h"
#include "VXTextTransformers.h"

using namespace Qt::StringLiterals;

using Operator = VXPredicate::Operator;

namespace {

QString keyOf(VXFilterField::Type type, Operator comparison)
{
    const bool isDate = type == VXFilterField::Type::Date;
    switch (comparison) {
    case Operator::Equal:
        return u"is"_s;
    case Operator::NotEqual:
        return u"is not"_s;
    case Operator::Less:
        return isDate ? u"is before"_s : u"is less than"_s;
    case Operator::LessOrEqual:
        return isDate ? u"is not after"_s : u"is at most"_s;
    case Operator::Greater:
        return isDate ? u"is after"_s : u"is more than"_s;
    case Operator::GreaterOrEqual:
        return isDate ? u"is not before"_s : u"is at least"_s;
    case Operator::BeginsWith:
        return u"begins with"_s;
    case Operator::EndsWith:
        return u"ends with"_s;
    case Operator::Contains:
        return u"contains"_s;
    case Operator::Like:
        return u"is like"_s;
    case Operator::Matches:
        return u"matches the pattern"_s;
    case Operator::In:
        return u"is one of"_s;
    case Operator::Between:
        return u"is between"_s;
    }
    return {};
}

} // namespace

QList<Operator> VXFilterField::operators() const
{
    switch (type) {
    case Type::Text:
        return {Operator::Contains, Operator::Equal, Operator::NotEqual, Operator::BeginsWith,
                Operator::EndsWith, Operator::Like,  Operator::Matches,  Operator::In};
    case Type::Number:
    case Type::Duration:
        return {Operator::GreaterOrEqual, Operator::LessOrEqual, Operator::Greater, Operator::Less,
                Operator::Equal,          Operator::NotEqual,    Operator::Between};
    case Type::Date:
        return {Operator::GreaterOrEqual, Operator::LessOrEqual, Operator::Greater, Operator::Less, Operator::Between};
    case Type::Boolean:
    case Type::Choice:
        break;
    }
    return {Operator::Equal, Operator::NotEqual};
}

QString VXFilterField::titleOf(Operator comparison) const
{
    return VXInterfaceString(keyOf(type, comparison), u"Filters"_s);
}

QString VXFilterField::textOf(const QVariant &value) const
{
    if (value.typeId() == QMetaType::QVariantList || value.typeId() == QMetaType::QStringList) {
        QStringList texts;
        for (const QVariant &each : value.toList())
            texts.append(textOf(each));
        return texts.join(", "_L1);
    }
    for (const Choice &choice : choices) {
        if (choice.value == value)
            return choice.title;
    }
    switch (type) {
    case Type::Number:
        return VXNumberTransformer().transformedValue(value).toString();
    case Type::Duration:
        return VXTextOfDuration(value.toDouble());
    case Type::Date:
        return VXTextLocale().toString(value.toDateTime(), QLocale::ShortFormat);
    case Type::Boolean:
        return VXInterfaceString(value.toBool() ? u"yes"_s : u"no"_s, u"Filters"_s);
    case Type::Text:
    case Type::Choice:
        break;
    }
    return u'"' + value.toString() + u'"';
}
