#include "VXEmailAddress.h"
#include "VXEvalCalls.h"
#include "VXEvalRegistry.h"
#include "VXPhonebookGroup.h"
#include "VXPhonebookList.h"
#include "VXPhonebookString.h"
#include "VXPhonebookType.h"
#include "VXPhoneNumber.h"
#include "VXPhoneNumberFormat.h"
#include "VXTextEscaping.h"

using namespace Qt::StringLiterals;

namespace {

using Text = std::optional<QString>; // null stands for none

QString text(const Text &argument)
{
    return argument.value_or(QString());
}

VXEvalAnswer splitString(const Text &argument)
{
    QString name;
    QString value;
    unsigned type = 0;
    const bool result = VXPhonebookStringSplit(text(argument), &name, &value, &type);
    return {result, {{u"name"_s, name}, {u"value"_s, value}, {u"type"_s, type}}, {}};
}

VXEvalAnswer splitGroup(const Text &argument)
{
    QString name;
    QStringList members;
    const bool result = VXPhonebookGroupSplit(text(argument), &name, &members);
    return {result, {{u"name"_s, name}, {u"members"_s, members}}, {}};
}

void addStringCalls(VXEvalRegistry &registry)
{
    registry.add(u"VXIsValidPhonebookType"_s, {u"text"_s},
                 [](const Text &a) { return VXIsValidPhonebookType(text(a)); });
    registry.add(u"VXPhonebookTypeMaskFromString"_s, {u"letters"_s},
                 [](const Text &a) { return VXPhonebookTypeMaskFromString(text(a)); });
    registry.add(u"VXStringFromPhonebookTypeMask"_s, {u"mask"_s}, VXStringFromPhonebookTypeMask);
    registry.add(u"VXPhonebookStringSplit"_s, {u"text"_s}, splitString);
    registry.add(u"VXPhonebookStringJoin"_s, {u"name"_s, u"value"_s, u"mask"_s},
                 [](const Text &name, const Text &value, unsigned mask) {
                     return VXPhonebookStringJoin(text(name), text(value), mask);
                 });
    registry.add(u"stringByEscapingCharactersInString"_s, {u"text"_s, u"set"_s}, [](const Text &a, const QString &set) {
        return VXTextEscaping::stringByEscapingCharactersInString(text(a), set);
    });
    registry.add(u"stringByUnescapingCharactersInString"_s, {u"text"_s, u"set"_s},
                 [](const Text &a, const QString &set) {
                     return VXTextEscaping::stringByUnescapingCharactersInString(text(a), set);
                 });
}

void addListCalls(VXEvalRegistry &registry)
{
    registry.add(u"VXPhonebookGroupSplit"_s, {u"text"_s}, splitGroup);
    registry.add(
        u"VXPhonebookGroupJoin"_s, {u"name"_s, u"members"_s},
        [](const Text &name, const QStringList &members) { return VXPhonebookGroupJoin(text(name), members); });
    registry.add(u"VXUnpackPhonebookStrings"_s, {u"text"_s, u"expandGroups"_s},
                 [](const Text &a, bool expandGroups) { return VXUnpackPhonebookStrings(text(a), expandGroups); });
    registry.add(u"VXPackPhonebookStrings"_s, {u"items"_s}, VXPackPhonebookStrings);
    registry.add(u"VXPhonebookStringsMatch"_s, {u"a"_s, u"b"_s},
                 [](const Text &a, const Text &b) { return VXPhonebookStringsMatch(text(a), text(b)); });
}

void addNumberCalls(VXEvalRegistry &registry)
{
    registry.add(u"VXIsValidPhoneNumber"_s, {u"text"_s}, [](const Text &a) { return VXIsValidPhoneNumber(text(a)); });
    registry.add(u"VXIsValidEmailAddress"_s, {u"text"_s}, [](const Text &a) { return VXIsValidEmailAddress(text(a)); });
    registry.add(u"VXPhoneNumberSearchString"_s, {u"text"_s},
                 [](const Text &a) { return VXPhoneNumberSearchString(text(a)); });
    registry.add(u"VXPhoneNumberByStrippingCountryCode"_s, {u"text"_s},
                 [](const Text &a) { return VXPhoneNumberByStrippingCountryCode(text(a)); });
    registry.add(u"VXPhoneNumberInternationalAccessCode"_s, {u"text"_s},
                 [](const Text &a) { return VXPhoneNumberInternationalAccessCode(text(a)); });
    registry.add(u"VXPhoneNumberNationalAccessCode"_s, {u"text"_s},
                 [](const Text &a) { return VXPhoneNumberNationalAccessCode(text(a)); });
    registry.add(
        u"VXPhoneNumberWithFormat"_s, {u"number"_s, u"pattern"_s},
        [](const Text &number, const Text &pattern) { return VXPhoneNumberWithFormat(text(number), text(pattern)); });
    registry.add(u"VXFormatPhoneNumber"_s, {u"number"_s}, [](const Text &a) { return VXFormatPhoneNumber(text(a)); });
}

} // namespace

void VXAddPhonebookCalls(VXEvalRegistry &registry)
{
    addStringCalls(registry);
    addListCalls(registry);
    addNumberCalls(registry);
}
