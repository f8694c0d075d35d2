#include "VXPhonebookTransformer.h"

#include "VXPhonebookGroup.h"
#include "VXPhonebookList.h"
#include "VXPhonebookString.h"
#include "VXPhoneNumber.h"
#include "VXPhoneNumberFormat.h"

using namespace Qt::StringLiterals;

namespace {

bool isText(const QVariant &value)
{
    return value.typeId() == QMetaType::QString && !value.toString().isNull();
}

QString displayStringForItem(const QString &item)
{
    QString groupName;
    QStringList members;
    if (!item.contains(u'{') || !VXPhonebookGroupSplit(item, &groupName, &members))
        return VXDisplayStringForPhonebookString(item);
    if (!groupName.isEmpty())
        return groupName;
    for (QString &member : members)
        member = VXDisplayStringForPhonebookString(member);
    return members.join(", "_L1);
}

} // namespace

QString VXDisplayStringForPhonebookString(const QString &text)
{
    QString name;
    QString value;
    static_cast<void>(VXPhonebookStringSplit(text, &name, &value)); // without a valid address, what was found is used
    if (!name.isEmpty())
        return name;
    if (value.isEmpty())
        return text;
    return VXIsValidPhoneNumber(value) ? VXFormatPhoneNumber(value) : value;
}

QVariant VXPhonebookStringTransformer::transformedValue(const QVariant &value) const
{
    return isText(value) ? VXDisplayStringForPhonebookString(value.toString()) : QVariant();
}

QVariant VXPhonebookTransformer::transformedValue(const QVariant &value) const
{
    if (!isText(value))
        return {};
    QStringList items = VXUnpackPhonebookStrings(value.toString(), false);
    for (QString &item : items)
        item = displayStringForItem(item);
    return items.join(", "_L1);
}
