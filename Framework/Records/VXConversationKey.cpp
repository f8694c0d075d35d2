#include "VXConversationKey.h"

#include "VXPhonebookList.h"
#include "VXPhonebookString.h"
#include "VXPhoneNumber.h"
#include "VXWrittenNumber.h"

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

QString searchFormOfAddress(const QString &address)
{
    const QString number = VXPhoneNumberRecordString(address);
    return address.contains(u'@') || number.isEmpty() ? address.toLower() : number;
}

QString keyOfItem(const QString &item)
{
    QString value;
    const bool isAddress = VXPhonebookStringSplit(VXPhonebookStringWithoutExtension(item), nullptr, &value);
    return isAddress ? searchFormOfAddress(value) : item.toLower();
}

} // namespace

QString VXConversationKey(const QString &phonebookStrings)
{
    if (phonebookStrings.isNull())
        return {};
    QStringList keys = VXUnpackPhonebookStrings(phonebookStrings, true);
    std::ranges::transform(keys, keys.begin(), keyOfItem);
    keys.sort(); // the order of a group does not matter
    return keys.join(", "_L1);
}

QStringList VXConversationKeysOf(const QString &phonebookString)
{
    QStringList keys{VXConversationKey(phonebookString)};
    QString value;
    if (VXPhonebookStringSplit(phonebookString, nullptr, &value))
        keys.append(VXConversationKey(VXWrittenNumber::in(value).number));
    keys.removeDuplicates();
    return keys;
}
