#include "VXContactFields.h"

#include "VXDesktopText.h"
#include "VXPhonebookType.h"

using namespace Qt::StringLiterals;

std::span<const VXContactField> VXContactTextFields()
{
    static const VXContactField fields[] = {
        {&VXContactRecord::firstName, "First name"}, {&VXContactRecord::lastName, "Last name"},
        {&VXContactRecord::nickname, "Nickname"},    {&VXContactRecord::company, "Company"},
        {&VXContactRecord::jobTitle, "Job title"},
    };
    return fields;
}

std::span<const unsigned> VXContactAddressTypes(QList<VXContactRecord::Address> VXContactRecord::*list)
{
    static constexpr unsigned ofNumbers[] = {VXPhonebookTypeMobile,
                                             VXPhonebookTypeHome,
                                             VXPhonebookTypeWork,
                                             VXPhonebookTypeHome | VXPhonebookTypeMobile,
                                             VXPhonebookTypeWork | VXPhonebookTypeMobile,
                                             VXPhonebookTypeHome | VXPhonebookTypeFax,
                                             VXPhonebookTypeWork | VXPhonebookTypeFax,
                                             VXPhonebookTypePager,
                                             VXPhonebookTypeNone};
    static constexpr unsigned ofOthers[] = {VXPhonebookTypeHome, VXPhonebookTypeWork, VXPhonebookTypeNone};
    return list == &VXContactRecord::numbers ? std::span<const unsigned>(ofNumbers) : ofOthers;
}

QString VXContactShownText(const QString &text, qsizetype longest)
{
    if (text.size() <= longest)
        return text;
    return text.first(text[longest - 1].isHighSurrogate() ? longest - 1 : longest) + u'…';
}

QString VXContactTitle(const VXContactRecord &contact)
{
    const QString name = contact.displayName();
    return name.isEmpty() ? VXText("No name") : name;
}

QString VXContactTypeTitle(unsigned type)
{
    const bool isHome = (type & VXPhonebookTypeHome) != 0;
    const bool isWork = (type & VXPhonebookTypeWork) != 0;
    switch (type & VXPhonebookTypeKindMask) {
    case VXPhonebookTypeMobile:
        return isWork ? VXText("Work mobile") : isHome ? VXText("Home mobile") : VXText("Mobile");
    case VXPhonebookTypeFax:
        return isWork ? VXText("Work fax") : isHome ? VXText("Home fax") : VXText("Fax");
    case VXPhonebookTypePager:
        return VXText("Pager");
    case VXPhonebookTypePrimary:
        return VXText("Main");
    default:
        return isWork ? VXText("Work") : isHome ? VXText("Home") : VXText("Other");
    }
}
