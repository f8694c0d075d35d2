#include "VXPhonebookRecord.h"

#include "VXCallRecord.h"
#include "VXEmailAddress.h"
#include "VXMetaDataSource.h"
#include "VXPhonebookEntry.h"
#include "VXPhonebookList.h"
#include "VXPhonebookManager.h"
#include "VXPhonebookString.h"
#include "VXPhonebookTransformer.h"
#include "VXPhoneNumber.h"

#include <QtCore/QHash>

#include <algorithm>
#include <functional>

using namespace Qt::StringLiterals;

namespace {

const QString toKey = u"to"_s;
const QString fromKey = u"from"_s;
const QString directionKey = u"direction"_s;
const QString toSearchKey = u"to_search"_s;
const QString fromSearchKey = u"from_search"_s;
const QString otherSearchKey = u"otherParty_search"_s;

QString text(const VXManagedObject &record, const QString &key)
{
    return record.valueForKey(key).toString();
}

bool isIncoming(const VXManagedObject &record)
{
    return record.valueForKey(directionKey).toInt() != 0;
}

// False when the record already has that value.
bool replaceText(VXManagedObject &record, const QString &key, const QString &value)
{
    const QString old = text(record, key);
    if (old == value && old.isNull() == value.isNull())
        return false;
    record.setValueForKey(value.isNull() ? QVariant() : QVariant(value), key);
    return true;
}

QString searchFormOfItem(const QString &item)
{
    QString name;
    QString value;
    const bool isAddress = VXPhonebookStringSplit(VXPhonebookStringWithoutExtension(item), &name, &value);
    const QString number = isAddress ? VXPhoneNumberRecordString(value) : QString();
    QStringList parts{name, number.isEmpty() ? value.toLower() : number};
    parts.removeAll(QString());
    return parts.isEmpty() ? item : parts.join(u' ');
}

// The form of each item, as once they are joined a comma within a name would split it.
QStringList searchFormsOf(const QString &phonebookStrings)
{
    QStringList forms = VXUnpackPhonebookStrings(phonebookStrings, true);
    std::ranges::transform(forms, forms.begin(), searchFormOfItem);
    return forms;
}

QStringList itemsOf(const VXManagedObject &record, const QString &key)
{
    return VXUnpackPhonebookStrings(text(record, key), true);
}

/** A party as recorded: its present name, and the readable form of its number, are looked up when it is shown. */
struct Party
{
    explicit Party(const QString &item) : written(item)
    {
        if (!VXPhonebookStringSplit(VXPhonebookStringWithPause(item), &name, &address, &type) && name.isEmpty())
            name = item;
    }
    QString title() const { return !name.isEmpty() ? name : address.contains(u'@') ? address : written; }

    QString written;
    QString name;
    QString address;
    unsigned type = 0;
};

QStringList addressesIn(const QStringList &items, bool (*isValid)(QStringView))
{
    QStringList addresses;
    for (const QString &item : items) {
        QString value;
        if (VXPhonebookStringSplit(item, nullptr, &value) && isValid(value))
            addresses.append(value);
    }
    return addresses;
}

} // namespace

void VXPhonebookRecord::setTo(VXManagedObject &record, const QString &phonebookStrings)
{
    if (replaceText(record, toKey, phonebookStrings))
        updatePhonebookSearchStrings(record);
}

void VXPhonebookRecord::setFrom(VXManagedObject &record, const QString &phonebookStrings)
{
    if (replaceText(record, fromKey, phonebookStrings))
        updatePhonebookSearchStrings(record);
}

void VXPhonebookRecord::setDirection(VXManagedObject &record, int direction)
{
    if (record.valueForKey(directionKey).toInt() == direction)
        return;
    record.setValueForKey(direction, directionKey);
    updatePhonebookSearchStrings(record);
}

void VXPhonebookRecord::updatePhonebookSearchStrings(VXManagedObject &record)
{
    const QString to = searchForm(text(record, toKey));
    const QString from = searchForm(text(record, fromKey));
    replaceText(record, toSearchKey, to);
    replaceText(record, fromSearchKey, from);
    replaceText(record, otherSearchKey, isIncoming(record) ? from : to);
}

QString VXPhonebookRecord::to_display(const VXManagedObject &record)
{
    return text(record, toSearchKey);
}

QString VXPhonebookRecord::from_display(const VXManagedObject &record)
{
    return text(record, fromSearchKey);
}

QString VXPhonebookRecord::otherParty_display(const VXManagedObject &record)
{
    return text(record, otherSearchKey);
}

QString VXPhonebookRecord::otherParty(const VXManagedObject &record)
{
    return text(record, isIncoming(record) ? fromKey : toKey);
}

QVariantMap VXPhonebookRecord::phonebookMetaData(const VXManagedObject &record)
{
    const QStringList from = searchFormsOf(text(record, fromKey));
    const QStringList to = searchFormsOf(text(record, toKey));
    const QStringList other = itemsOf(record, isIncoming(record) ? fromKey : toKey);
    const std::pair<QString, QStringList> lists[] = {
        {u"kMDItemAuthors"_s, from},
        {u"kMDItemRecipients"_s, to},
        {u"kMDItemPhoneNumbers"_s, addressesIn(other, VXIsValidPhoneNumber)},
        {u"kMDItemEmailAddresses"_s, addressesIn(other, VXIsValidEmailAddress)}};
    QVariantMap metaData;
    for (const auto &[key, list] : lists) {
        if (!list.isEmpty())
            metaData.insert(key, list);
    }
    return metaData;
}

QVariantMap VXPhonebookRecord::searchMetaData(const VXManagedObject &record, const QString &kind)
{
    QVariantMap metaData = phonebookMetaData(record);
    QStringList titles, names, addresses;
    QVariantList types;
    for (const QString &item : itemsOf(record, isIncoming(record) ? fromKey : toKey)) {
        const Party party(item);
        titles.append(party.title());
        names.append(party.name.isNull() ? u""_s : party.name);
        addresses.append(party.address.isNull() ? u""_s : party.address);
        types.append(qint64(party.type));
    }
    metaData.insert(VXMetaDataGenerationKey, VXMetaDataGeneration);
    metaData.insert(u"kMDItemKind"_s, kind);
    metaData.insert(u"kMDItemContentCreationDate"_s, record.valueForKey(u"date"_s));
    if (!titles.isEmpty()) {
        metaData.insert(u"kMDItemTitle"_s, titles.join(", "_L1));
        metaData.insert(u"VXPartyNames"_s, names);
        metaData.insert(u"VXPartyAddresses"_s, addresses);
        metaData.insert(u"VXPartyTypes"_s, types);
    }
    return metaData;
}

QString VXPhonebookRecord::searchForm(const QString &phonebookStrings)
{
    if (phonebookStrings.isNull())
        return {};
    return searchFormsOf(phonebookStrings).join(", "_L1);
}

// -- Objects of that kind

namespace {

using Reader = std::function<QVariant(const VXManagedObject &)>;

const QHash<QString, Reader> &furtherReaders()
{
    static const QHash<QString, Reader> readers = {
        {u"to_display"_s, VXPhonebookRecord::to_display},
        {u"from_display"_s, VXPhonebookRecord::from_display},
        {u"otherParty_display"_s, VXPhonebookRecord::otherParty_display},
        {u"otherParty"_s, VXPhonebookRecord::otherParty},
        {u"phonebookMetaData"_s, VXPhonebookRecord::phonebookMetaData},
        {u"contact"_s,
         [](const VXManagedObject &record) {
             return VXContactForPhonebookStrings(VXPhonebookRecord::otherParty(record));
         }},
        {u"who"_s,
         [](const VXManagedObject &record) {
             return VXDisplayStringForContacts(VXPhonebookRecord::otherParty(record));
         }},
    };
    return readers;
}

} // namespace

bool VXRecordObject::isFurtherKey(const QString &key)
{
    return furtherReaders().contains(key);
}

QVariant VXRecordObject::valueForKey(const QString &key) const
{
    if (entity().propertyForName(key) == nullptr) {
        if (const auto reader = furtherReaders().constFind(key); reader != furtherReaders().constEnd())
            return (*reader)(*this);
    }
    return VXManagedObject::valueForKey(key);
}

void VXRecordObject::willSave()
{
    if (!isDeleted())
        VXPhonebookRecord::updatePhonebookSearchStrings(*this);
}

// -- By the phonebook

QVariant VXContactForPhonebookStrings(const QString &phonebookStrings)
{
    VXPhonebookManager &manager = VXPhonebookManager::sharedPhonebookManager();
    for (const QString &item : VXUnpackPhonebookStrings(phonebookStrings, true)) {
        const VXManagedObjectPtr entry = manager.entryForAddress(item);
        if (!entry)
            continue;
        QVariant person = entry->valueForKey(u"person"_s);
        return person.isValid() ? person : QVariant::fromValue(entry);
    }
    return {};
}

QVariant VXObjectWithContact(const QVariant &object)
{
    if (object.typeId() != QMetaType::QVariantMap)
        return object;
    QVariantMap map = object.toMap();
    if (!map.contains(toKey) && !map.contains(fromKey))
        return object;
    const QString otherParty = VXCallRecord(object).otherParty();
    if (!map.contains(u"contact"_s))
        map.insert(u"contact"_s, VXContactForPhonebookStrings(otherParty));
    if (!map.contains(u"who"_s))
        map.insert(u"who"_s, VXDisplayStringForContacts(otherParty));
    return map;
}

QString VXDisplayStringForContacts(const QString &phonebookStrings)
{
    if (phonebookStrings.isNull())
        return {};
    VXPhonebookManager &manager = VXPhonebookManager::sharedPhonebookManager();
    QStringList names = VXUnpackPhonebookStrings(phonebookStrings, true);
    for (QString &item : names) {
        const VXManagedObjectPtr entry = manager.entryForAddress(item);
        item = entry ? VXPhonebookEntry::displayString(*entry) : VXDisplayStringForPhonebookString(item);
    }
    return names.join(", "_L1);
}
