#include "VXAddressText.h"

#include "VXInterface.h"
#include "VXPhonebookGroup.h"
#include "VXPhonebookString.h"
#include "VXPhonebookType.h"
#include "VXPhoneNumber.h"
#include "VXPhoneNumberFormat.h"

using namespace Qt::StringLiterals;

namespace {

QString isolated(const QString &number)
{
    return QChar(0x2066) + number + QChar(0x2069);
}

QString kindKey(unsigned typeMask)
{
    const bool isHome = (typeMask & VXPhonebookTypeLocationMask) == VXPhonebookTypeHome;
    const bool isWork = (typeMask & VXPhonebookTypeLocationMask) == VXPhonebookTypeWork;
    switch (typeMask & VXPhonebookTypeKindMask) {
    case VXPhonebookTypeFax:
        return isHome ? u"home fax"_s : isWork ? u"work fax"_s : u"fax"_s;
    case VXPhonebookTypeMobile:
        return isHome ? u"private mobile"_s : isWork ? u"work mobile"_s : u"mobile"_s;
    case VXPhonebookTypePager:
        return u"pager"_s;
    case VXPhonebookTypePrimary:
        return u"main"_s;
    default:
        return isHome ? u"home"_s : isWork ? u"work"_s : QString();
    }
}

} // namespace

QString VXTextOfPhonebookType(unsigned typeMask)
{
    const QString key = kindKey(typeMask);
    return key.isNull() ? key : VXInterfaceString(key);
}

QString VXAddressLine(const QString &phonebookString)
{
    QStringList members;
    if (phonebookString.contains(u'{') && VXPhonebookGroupSplit(phonebookString, nullptr, &members))
        return VXInterfaceString(members.size() == 1 ? u"1 person"_s : u"%1 people"_s)
            .replace("%1"_L1, QString::number(members.size()));
    QString value;
    unsigned type = 0;
    static_cast<void>(VXPhonebookStringSplit(phonebookString, nullptr, &value, &type));
    if (value.isEmpty())
        return {};
    const QString shown = isolated(VXIsValidPhoneNumber(value) ? VXFormatPhoneNumber(value) : value);
    const QString kind = VXTextOfPhonebookType(type);
    return kind.isNull() ? shown : shown + u" · "_s + kind;
}

QString VXAddressTitle(const QString &phonebookString)
{
    QString name;
    QString value;
    if (phonebookString.contains(u'{') && VXPhonebookGroupSplit(phonebookString, &name))
        return name;
    static_cast<void>(VXPhonebookStringSplit(phonebookString, &name, &value));
    return name.isEmpty() ? value : name;
}
