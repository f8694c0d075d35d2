#include "VXContactRecord.h"

#include "VXRecordReader.h"
#include "VXUserDefaults.h"

#include <QtCore/QDateTime>

#include <algorithm>
#include <array>

using namespace Qt::StringLiterals;

namespace {

using Record = VXContactRecord;
using PostalAddress = VXContactRecord::PostalAddress;

template <class Holder>
struct Text
{
    QString key;
    QString Holder::*field;
};

const std::array texts{
    Text<Record>{u"name"_s, &Record::name},
    Text<Record>{u"namePrefix"_s, &Record::namePrefix},
    Text<Record>{u"firstName"_s, &Record::firstName},
    Text<Record>{u"middleName"_s, &Record::middleName},
    Text<Record>{u"lastName"_s, &Record::lastName},
    Text<Record>{u"nameSuffix"_s, &Record::nameSuffix},
    Text<Record>{u"nickname"_s, &Record::nickname},
    Text<Record>{u"company"_s, &Record::company},
    Text<Record>{u"jobTitle"_s, &Record::jobTitle},
    Text<Record>{u"note"_s, &Record::note},
    Text<Record>{u"uid"_s, &Record::uid},
};

const std::array addressTexts{
    Text<PostalAddress>{u"street"_s, &PostalAddress::street},   Text<PostalAddress>{u"city"_s, &PostalAddress::city},
    Text<PostalAddress>{u"state"_s, &PostalAddress::state},     Text<PostalAddress>{u"zip"_s, &PostalAddress::zip},
    Text<PostalAddress>{u"country"_s, &PostalAddress::country}, Text<PostalAddress>{u"text"_s, &PostalAddress::text},
};

struct AddressList
{
    QString listKey;
    QString key;
    QList<Record::Address> Record::*field;
};

const std::array addressLists{
    AddressList{u"numbers"_s, u"number"_s, &Record::numbers},
    AddressList{u"emails"_s, u"address"_s, &Record::emails},
    AddressList{u"urls"_s, u"url"_s, &Record::urls},
};

const QString typeKey = u"type"_s;
const QString labelKey = u"label"_s;
const QString birthdayKey = u"birthday"_s;
const QString imageKey = u"image"_s;
const QString postalKey = u"addresses"_s;
const QString groupsKey = u"groups"_s;
const QString groupNameKey = u"name"_s;
const QString propertiesKey = u"properties"_s; // stored as one text
constexpr QLatin1StringView formerUID("X-VORNIX-FORMER-UID:");

template <class Holder, class Texts>
void readTexts(Holder &holder, const Texts &table, const VXRecordReader &reader)
{
    for (const auto &each : table)
        holder.*each.field = reader.text(each.key);
}

template <class Holder, class Texts>
void insertTexts(QVariantMap &map, const Holder &holder, const Texts &table)
{
    for (const auto &each : table)
        VXInsertIntoRecord(map, each.key, holder.*each.field);
}

bool isText(const QVariant &value)
{
    return value.typeId() == QMetaType::QString;
}

// Reads an object with the address and its type, or the address alone.
Record::Address addressFrom(const QVariant &value, const QString &valueKey)
{
    if (isText(value))
        return {value.toString().trimmed()};
    const VXRecordReader reader(value);
    return {reader.text(valueKey), reader.typeMask(typeKey), reader.text(labelKey)};
}

QVariantMap mapOf(const Record::Address &address, const QString &valueKey)
{
    QVariantMap map{{valueKey, address.value}, {typeKey, address.type}};
    VXInsertIntoRecord(map, labelKey, address.label);
    return map;
}

PostalAddress postalAddressFrom(const QVariant &value)
{
    PostalAddress address;
    if (isText(value)) {
        address.text = value.toString().trimmed();
        return address;
    }
    const VXRecordReader reader(value);
    readTexts(address, addressTexts, reader);
    address.type = reader.typeMask(typeKey);
    return address;
}

QVariantMap mapOf(const PostalAddress &address)
{
    QVariantMap map{{typeKey, address.type}};
    insertTexts(map, address, addressTexts);
    return map;
}

// The person of a number or address, or the object itself if it has none.
QVariant contactIn(const QVariant &object)
{
    QVariant person = VXRecordReader(object).value(u"person"_s);
    return person.isValid() ? person : object;
}

// "FN:Jane Doe", perhaps with a group ("item1.FN") and parameters
bool isFullName(const QString &line)
{
    const QString property = line.section(u':', 0, 0).section(u';', 0, 0);
    return property.section(u'.', -1).compare("FN"_L1, Qt::CaseInsensitive) == 0;
}

bool isForbidden(QChar character)
{
    const char16_t unit = character.unicode();
    return (unit < 0x20 && character != u'\n' && character != u'\t') || unit == 0x7f || unit >= 0xfffe;
}

// Whether it is no control character, nor a character that needs a closer look.
bool isPlain(QChar character)
{
    const char16_t unit = character.unicode();
    return unit >= 0x20 && unit != 0x7f && unit < 0xd800;
}

void removeControlCharactersFrom(QString &text)
{
    if (std::ranges::all_of(text, isPlain))
        return;
    if (!text.isValidUtf16())
        text = QString::fromUtf8(text.toUtf8()); // replaces unpaired surrogates
    if (std::ranges::none_of(text, isForbidden))
        return;
    text.replace("\r\n"_L1, "\n"_L1).replace(u'\r', u' ');
    text.removeIf(isForbidden);
}

QDate dayOf(const QVariant &value)
{
    const QDateTime date = value.typeId() == QMetaType::QDate ? QDateTime() : value.toDateTime();
    return VXRecordDate(date.isValid() ? date.date() : value.toDate());
}

} // namespace

VXContactRecord::VXContactRecord(const QVariant &object)
{
    const VXRecordReader reader(contactIn(object));
    readTexts(*this, texts, reader);
    birthday = dayOf(reader.value(birthdayKey));
    image = reader.value(imageKey).toByteArray();
    for (const AddressList &list : addressLists) {
        QVariantList values = reader.list(list.listKey);
        if (const QString alone = reader.text(list.key); values.isEmpty() && !alone.isNull())
            values = {
                QVariantMap{{list.key, alone}, {typeKey, reader.typeMask(typeKey)}, {labelKey, reader.text(labelKey)}}};
        for (const QVariant &value : std::as_const(values)) {
            const Address address = addressFrom(value, list.key);
            if (!address.value.isEmpty())
                (this->*list.field).append(address);
        }
    }
    for (const QVariant &value : reader.list(postalKey))
        addresses.append(postalAddressFrom(value));
    for (const QVariant &value : reader.list(groupsKey)) {
        const QString group = isText(value) ? value.toString() : VXRecordReader(value).text(groupNameKey);
        if (!group.isEmpty())
            groups.append(group);
    }
    properties = reader.value(propertiesKey).toString().split(u'\n', Qt::SkipEmptyParts);
    removeControlCharacters();
}

void VXContactRecord::removeControlCharacters()
{
    for (const auto &each : texts)
        removeControlCharactersFrom(this->*each.field);
    for (const AddressList &list : addressLists) {
        for (Address &address : this->*list.field) {
            removeControlCharactersFrom(address.value);
            removeControlCharactersFrom(address.label);
        }
    }
    for (PostalAddress &address : addresses) {
        for (const auto &each : addressTexts)
            removeControlCharactersFrom(address.*each.field);
    }
    for (QStringList *const list : {&groups, &properties}) {
        for (QString &text : *list)
            removeControlCharactersFrom(text);
    }
}

QString VXContactRecord::shownName() const
{
    const bool isInTwo = !firstName.isEmpty() && !lastName.isEmpty();
    if (!isInTwo || VXUserDefaults::standardUserDefaults().integerForKey(u"phonebook.names.last_first"_s) == 0)
        return displayName();
    QStringList names{lastName, firstName, middleName};
    names.removeAll(QString());
    return names.join(u' ');
}

QString VXContactRecord::displayName() const
{
    QStringList names{firstName, middleName, lastName};
    names.removeIf([](const QString &part) { return part.isEmpty(); });
    if ((!firstName.isEmpty() || !lastName.isEmpty()))
        return names.join(u' ');
    for (const QString &each : {name, nickname, company}) {
        if (!each.isEmpty())
            return each;
    }
    for (const QList<Address> &list : {numbers, emails}) {
        if (!list.isEmpty())
            return list.first().value;
    }
    return {};
}

QStringList VXContactRecord::fullNameLines() const
{
    QStringList lines = properties;
    lines.removeIf([](const QString &line) { return !isFullName(line); });
    return lines;
}

void VXContactRecord::removeFullNameLines()
{
    properties.removeIf(isFullName);
}

QStringList VXContactRecord::formerUIDs() const
{
    QStringList uids;
    for (const QString &line : properties) {
        if (line.startsWith(formerUID))
            uids.append(line.sliced(formerUID.size()));
    }
    return uids;
}

void VXContactRecord::addFormerUID(const QString &former)
{
    const QString line = formerUID + former;
    if (!former.isEmpty() && former != uid && !former.contains(u'\n') && !properties.contains(line))
        properties.append(line);
}

QVariantMap VXContactRecord::map() const
{
    QVariantMap map;
    insertTexts(map, *this, texts);
    if (birthday.isValid())
        map.insert(birthdayKey, QDateTime(birthday, QTime(0, 0), Qt::UTC));
    if (!image.isEmpty())
        map.insert(imageKey, image);
    for (const AddressList &list : addressLists) {
        QVariantList values;
        for (const Address &address : this->*list.field)
            values.append(mapOf(address, list.key));
        if (!values.isEmpty())
            map.insert(list.listKey, values);
    }
    QVariantList postal;
    for (const PostalAddress &address : addresses)
        postal.append(mapOf(address));
    if (!postal.isEmpty())
        map.insert(postalKey, postal);
    QVariantList groupMaps;
    for (const QString &group : groups)
        groupMaps.append(QVariantMap{{groupNameKey, group}});
    if (!groupMaps.isEmpty())
        map.insert(groupsKey, groupMaps);
    VXInsertIntoRecord(map, propertiesKey, properties.join(u'\n'));
    return map;
}
