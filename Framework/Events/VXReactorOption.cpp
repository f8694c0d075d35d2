#include "VXReactorOption.h"

#include "VXContainer.h"
#include "VXExporterPlugin.h"
#include "VXFramework.h"
#include "VXNone.h"

#include <cmath>

using namespace Qt::StringLiterals;

namespace {

bool isText(const QVariant &value)
{
    return value.typeId() == QMetaType::QString;
}

bool isBoolean(const QVariant &value)
{
    static const QStringList words{u"true"_s, u"false"_s, u"yes"_s, u"no"_s, u"1"_s, u"0"_s};
    return value.typeId() == QMetaType::Bool || words.contains(value.toString().toLower());
}

bool isNumber(const QVariant &value)
{
    bool isNumber = false;
    return std::isfinite(value.toDouble(&isNumber)) && isNumber && value.typeId() != QMetaType::Bool;
}

bool hasType(const QVariant &value, VXReactorOption::Type type)
{
    using Type = VXReactorOption::Type;
    switch (type) {
    case Type::Boolean:
        return isBoolean(value);
    case Type::Number:
        return isNumber(value);
    case Type::List:
        return isText(value) || VXIsList(value);
    case Type::Text:
        return value.canConvert<QString>() && !VXIsList(value) && value.typeId() != QMetaType::QVariantMap;
    case Type::File:
    case Type::Program:
        return isText(value);
    case Type::Any:
        return true;
    }
    return true;
}

// Choices of a single character, such as separators, are quoted to tell them from the commas between choices.
QString shownChoices(const QStringList &choices)
{
    QStringList shown;
    for (const QString &choice : choices) {
        const bool isWord = choice.size() > 1 || (!choice.isEmpty() && choice.front().isLetterOrNumber());
        shown.append(isWord ? choice : u'"' + (choice == "\t"_L1 ? u"<tab>"_s : choice) + u'"');
    }
    return shown.join(", "_L1);
}

} // namespace

QString VXReactorOption::shownKey() const
{
    return key == VXExporterOptionsFilePathKey ? u"file"_s : key;
}

QString VXReactorOption::typeName() const
{
    switch (type) {
    case Type::Text:
        return u"text"_s;
    case Type::Boolean:
        return u"boolean"_s;
    case Type::Number:
        return u"number"_s;
    case Type::List:
        return u"list"_s;
    case Type::File:
        return u"file"_s;
    case Type::Program:
        return u"program"_s;
    case Type::Any:
        break;
    }
    return u"any"_s;
}

QString VXReactorOption::problemOf(const QVariant &value) const
{
    if (VXIsNone(value) || (isNeeded && value.toString().isEmpty() && isText(value)))
        return !isNeeded           ? QString()
               : meaning.isEmpty() ? VXLocalizedString(u"The option \"%1\" is missing."_s).arg(shownKey())
                                   : VXLocalizedString(u"The option \"%1\" is missing: %2"_s).arg(shownKey(), meaning);
    if (!hasType(value, type))
        return VXLocalizedString(u"The option \"%1\" must be a value of the type %2."_s).arg(shownKey(), typeName());
    if (!choices.isEmpty() && !choices.contains(value.toString(), Qt::CaseInsensitive))
        return VXLocalizedString(u"The option \"%1\" must be one of %2."_s).arg(shownKey(), shownChoices(choices));
    return {};
}
