#include "VXContactWriter.h"

#include "VXContactHistory.h"
#include "VXManagedObjectContext.h"
#include "VXPhoneNumber.h"

#include <QtCore/QUuid>

#include <algorithm>
#include <array>
#include <iterator>

using namespace Qt::StringLiterals;

using Address = VXContactRecord::Address;
using PostalAddress = VXContactRecord::PostalAddress;

namespace {

struct Text
{
    QString key;
    QString VXContactRecord::*field;
};

const std::array texts{Text{u"namePrefix"_s, &VXContactRecord::namePrefix},
                       Text{u"firstName"_s, &VXContactRecord::firstName},
                       Text{u"middleName"_s, &VXContactRecord::middleName},
                       Text{u"lastName"_s, &VXContactRecord::lastName},
                       Text{u"nameSuffix"_s, &VXContactRecord::nameSuffix},
                       Text{u"nickname"_s, &VXContactRecord::nickname},
                       Text{u"company"_s, &VXContactRecord::company},
                       Text{u"jobTitle"_s, &VXContactRecord::jobTitle},
                       Text{u"note"_s, &VXContactRecord::note}};

constexpr std::array nameFields{&VXContactRecord::namePrefix, &VXContactRecord::firstName, &VXContactRecord::middleName,
                                &VXContactRecord::lastName, &VXContactRecord::nameSuffix};

const std::pair<QString, QString PostalAddress::*> postalTexts[] = {
    {u"street"_s, &PostalAddress::street}, {u"city"_s, &PostalAddress::city},       {u"state"_s, &PostalAddress::state},
    {u"zip"_s, &PostalAddress::zip},       {u"country"_s, &PostalAddress::country}, {u"text"_s, &PostalAddress::text}};

QVariant orNone(const QString &text)
{
    return text.isEmpty() ? QVariant() : QVariant(text);
}

// The digits as dialled from abroad; null where the number does not tell the country.
QString internationalDigits(const QString &number)
{
    QString digits;
    std::ranges::copy_if(number, std::back_inserter(digits), [](QChar character) { return character.isDigit(); });
    if (number.trimmed().startsWith(u'+'))
        return digits;
    const QString access = VXPhoneNumberInternationalAccessCode(digits);
    return access.isNull() ? QString() : digits.sliced(access.size());
}

// As they are looked up; but of two countries they are two.
bool isSameNumber(const QString &a, const QString &b)
{
    const QString search = VXPhoneNumberSearchString(a);
    if (search.isEmpty() || search != VXPhoneNumberSearchString(b))
        return a == b;
    const QString abroad = internationalDigits(a);
    const QString other = internationalDigits(b);
    return abroad.isNull() || other.isNull() || abroad == other;
}

bool isSameEmail(const QString &a, const QString &b)
{
    return a.toLower() == b.toLower();
}

bool isSameText(const QString &a, const QString &b)
{
    return a == b;
}

bool isSame(const PostalAddress &a, const PostalAddress &b)
{
    return std::ranges::all_of(
        postalTexts, [&](const auto &each) { return (a.*each.second).simplified() == (b.*each.second).simplified(); });
}

// What is there with less known of it learns from the news.
QList<Address> united(QList<Address> known, const QList<Address> &news,
                      bool (*isSame)(const QString &, const QString &))
{
    for (const Address &each : news) {
        const auto found =
            std::ranges::find_if(known, [&](const Address &old) { return isSame(old.value, each.value); });
        if (found == known.end()) {
            known.append(each);
        } else {
            found->type = found->type == 0 ? each.type : found->type;
            found->label = found->label.isEmpty() ? each.label : found->label;
            const bool tellsMore = isSame == isSameNumber && internationalDigits(found->value).isNull() &&
                                   !internationalDigits(each.value).isNull();
            found->value = tellsMore ? each.value : found->value;
        }
    }
    return known;
}

// Of two values one can be kept; the other stands in the note.
void noteContradictions(VXContactRecord &both, const VXContactRecord &news)
{
    QStringList lines;
    for (const QString &key : {u"nickname"_s, u"company"_s, u"jobTitle"_s}) {
        const auto text = std::ranges::find(texts, key, &Text::key);
        const QString &other = news.*text->field;
        if (!other.isEmpty() && other.compare(both.*text->field, Qt::CaseInsensitive) != 0)
            lines.append(key + ": "_L1 + other);
    }
    if (news.birthday.isValid() && news.birthday != both.birthday)
        lines.append("birthday: "_L1 + news.birthday.toString(Qt::ISODate));
    lines.removeIf([&](const QString &line) { return both.note.split(u'\n').contains(line); });
    if (!lines.isEmpty())
        both.note = (both.note.isEmpty() ? lines : QStringList{both.note} + lines).join(u'\n');
}

bool hasSameName(const VXContactRecord &a, const VXContactRecord &b)
{
    return std::ranges::all_of(nameFields, [&](QString VXContactRecord::*field) { return a.*field == b.*field; });
}

// Of two contacts that become one: how the whole name is written.
QStringList fullNameLinesOf(const VXContactRecord &known, const VXContactRecord &news, bool newsCount)
{
    const QStringList own = known.fullNameLines();
    const QStringList others = news.fullNameLines();
    if (newsCount && !others.isEmpty())
        return others;
    return own.isEmpty() && hasSameName(known, news) ? others : own;
}

bool isSameList(const QList<Address> &a, const QList<Address> &b)
{
    const auto lines = [](const QList<Address> &list) {
        QStringList made;
        for (const Address &each : list)
            made.append(each.value + u'\0' + QString::number(each.type) + u'\0' + each.label);
        made.sort();
        return made;
    };
    return lines(a) == lines(b);
}

QList<VXManagedObjectPtr> relatedTo(const VXManagedObject &person, const QString &relationship)
{
    return person.relatedObjects(person.entity().propertyForName(relationship)->index());
}

QStringList sortedList(QStringList list)
{
    list.sort();
    return list;
}

} // namespace

VXContactRecord VXStorableContact(const VXContactRecord &contact)
{
    VXContactRecord storable = contact;
    if (storable.firstName.isEmpty() && storable.lastName.isEmpty() && !storable.name.isEmpty())
        storable.firstName = storable.name;
    storable.name = QString();
    for (const Text &each : texts) {
        QString &text = storable.*each.field;
        text = text.trimmed();
        if (text.isEmpty())
            text = QString();
    }
    for (QList<Address> *const list : {&storable.numbers, &storable.emails, &storable.urls})
        list->removeIf([](const Address &each) { return each.value.trimmed().isEmpty(); });
    storable.groups.removeAll(QString());
    storable.groups.removeDuplicates();
    return storable;
}

VXContactRecord VXUnitedContact(const VXContactRecord &knownContact, const VXContactRecord &newContact,
                                VXContactPrecedence precedence)
{
    const VXContactRecord known = VXStorableContact(knownContact);
    const VXContactRecord news = VXStorableContact(newContact);
    const bool newsCount = precedence == VXContactPrecedence::News;
    VXContactRecord both = known;
    for (const Text &each : texts) {
        const QString &text = news.*each.field;
        if (!text.isEmpty() && (newsCount || (both.*each.field).isEmpty()))
            both.*each.field = text;
    }
    if (!newsCount && !news.note.isEmpty() && !known.note.isEmpty() && !known.note.contains(news.note))
        both.note = known.note + u'\n' + news.note; // of two people's notes none is dropped
    if (news.birthday.isValid() && (newsCount || !known.birthday.isValid()))
        both.birthday = news.birthday;
    if (!newsCount)
        noteContradictions(both, news);
    if (!news.image.isEmpty() && (newsCount || known.image.isEmpty()))
        both.image = news.image;
    if (both.uid.isEmpty())
        both.uid = news.uid;
    both.numbers = united(known.numbers, news.numbers, isSameNumber);
    both.emails = united(known.emails, news.emails, isSameEmail);
    both.urls = united(known.urls, news.urls, isSameText);
    for (const PostalAddress &address : news.addresses) {
        if (std::ranges::none_of(both.addresses, [&](const PostalAddress &each) { return isSame(each, address); }))
            both.addresses.append(address);
    }
    both.groups += news.groups;
    both.groups.removeDuplicates();
    both.properties += news.properties;
    both.properties.removeDuplicates();
    both.removeFullNameLines();
    both.properties = fullNameLinesOf(known, news, newsCount) + both.properties;
    return both;
}

QStringList VXReplacedValues(const VXContactRecord &before, const VXContactRecord &after)
{
    QStringList replaced;
    const auto tell = [&](const QString &key, const QString &old, const QString &now) {
        if (!old.isEmpty() && old != now)
            replaced.append(u"%1 %2 -> %3"_s.arg(key, old, now));
    };
    for (const Text &each : texts)
        tell(each.key, before.*each.field, after.*each.field);
    tell(u"birthday"_s, before.birthday.toString(Qt::ISODate), after.birthday.toString(Qt::ISODate));
    return replaced;
}

QString VXNewContactUID()
{
    return "urn:uuid:"_L1 + QUuid::createUuid().toString(QUuid::WithoutBraces);
}

bool VXIsSameContact(const VXContactRecord &a, const VXContactRecord &b)
{
    const bool hasSameTexts =
        std::ranges::all_of(texts, [&](const Text &each) { return (a.*each.field) == (b.*each.field); });
    return hasSameTexts && a.uid == b.uid && a.birthday == b.birthday && a.image == b.image &&
           isSameList(a.numbers, b.numbers) && isSameList(a.emails, b.emails) && isSameList(a.urls, b.urls) &&
           a.addresses.size() == b.addresses.size() &&
           std::ranges::equal(a.addresses, b.addresses,
                              [](const auto &x, const auto &y) { return isSame(x, y) && x.type == y.type; }) &&
           sortedList(a.groups) == sortedList(b.groups) && sortedList(a.properties) == sortedList(b.properties);
}

void VXContactWriter::setChangeSet(qint64 number, const QDateTime &date)
{
    _number = number;
    _date = date;
}

VXManagedObjectPtr VXContactWriter::insert(const VXContactRecord &contact)
{
    const VXManagedObjectPtr person = _context.insertNewObject(u"VXPerson"_s);
    VXContactRecord storable = VXStorableContact(contact);
    if (storable.uid.isEmpty())
        storable.uid = VXNewContactUID();
    if (_number != 0)
        person->setValueForKey(_number, u"importNumber"_s);
    replace(person, storable);
    return person;
}

void VXContactWriter::replace(const VXManagedObjectPtr &person, const VXContactRecord &contact)
{
    const VXContactRecord storable = VXStorableContact(contact);
    write(*person, storable);
    writeAddresses(person, u"numbers"_s, u"number"_s, storable.numbers);
    writeAddresses(person, u"emails"_s, u"address"_s, storable.emails);
    writeAddresses(person, u"urls"_s, u"url"_s, storable.urls);
    writePostalAddresses(person, storable);
    writeGroups(person, storable.groups);
    setDate(*person);
}

void VXContactWriter::setDate(VXManagedObject &person) const
{
    const QString key = u"changedDate"_s;
    if (_date.isValid())
        person.setValueForKey(VXContactHistory::dateOfChange(_date, person.valueForKey(key).toDateTime()), key);
}

// How the whole name was written says nothing of another name.
QStringList VXContactWriter::propertiesFor(const VXManagedObject &person, const VXContactRecord &contact)
{
    VXContactRecord before;
    for (const Text &each : texts)
        before.*each.field = person.valueForKey(each.key).toString();
    before.properties = person.valueForKey(u"properties"_s).toString().split(u'\n', Qt::SkipEmptyParts);
    VXContactRecord after = contact;
    if (!person.isInserted() && !hasSameName(before, contact) && before.fullNameLines() == contact.fullNameLines())
        after.removeFullNameLines();
    return after.properties;
}

void VXContactWriter::write(VXManagedObject &person, const VXContactRecord &contact)
{
    const QStringList properties = propertiesFor(person, contact);
    for (const Text &each : texts)
        person.setValueForKey(orNone(contact.*each.field), each.key);
    if (!contact.uid.isEmpty())
        person.setValueForKey(contact.uid, u"uid"_s);
    person.setValueForKey(orNone(properties.join(u'\n')), u"properties"_s);
    person.setValueForKey(contact.image.isEmpty() ? QVariant() : QVariant(contact.image), u"image"_s);
    person.setValueForKey(contact.birthday.isValid() ? QVariant(QDateTime(contact.birthday, QTime(0, 0), Qt::UTC))
                                                     : QVariant(),
                          u"birthday"_s);
}

void VXContactWriter::writeAddresses(const VXManagedObjectPtr &person, const QString &relationship,
                                     const QString &valueKey, const QList<Address> &addresses)
{
    QList<Address> missing = addresses;
    for (const VXManagedObjectPtr &object : relatedTo(*person, relationship)) {
        const auto same = std::ranges::find_if(missing, [&](const Address &each) {
            return object->valueForKey(valueKey).toString() == each.value &&
                   object->valueForKey(u"type"_s).toUInt() == each.type &&
                   object->valueForKey(u"label"_s).toString() == each.label;
        });
        if (same == missing.end())
            _context.deleteObject(object);
        else
            missing.erase(same);
    }
    const VXEntityDescription &entity = person->entity().relationshipForName(relationship)->destination();
    for (const Address &address : std::as_const(missing)) {
        const VXManagedObjectPtr object = _context.insertNewObject(entity);
        object->setValueForKey(address.value, valueKey);
        object->setValueForKey(int(address.type), u"type"_s);
        object->setValueForKey(orNone(address.label), u"label"_s);
        object->setValueForKey(QVariant::fromValue(person), u"person"_s);
    }
}

void VXContactWriter::writePostalAddresses(const VXManagedObjectPtr &person, const VXContactRecord &contact)
{
    const QString relationship = u"addresses"_s;
    const QList<VXManagedObjectPtr> old = relatedTo(*person, relationship);
    const VXContactRecord known = old.isEmpty() ? VXContactRecord() : VXContactRecord(QVariant::fromValue(person));
    if (std::ranges::equal(known.addresses, contact.addresses,
                           [](const auto &a, const auto &b) { return isSame(a, b) && a.type == b.type; }))
        return;
    for (const VXManagedObjectPtr &object : old)
        _context.deleteObject(object);
    const VXEntityDescription &entity = person->entity().relationshipForName(relationship)->destination();
    for (const PostalAddress &address : contact.addresses) {
        const VXManagedObjectPtr object = _context.insertNewObject(entity);
        for (const auto &[key, field] : postalTexts)
            object->setValueForKey(orNone(address.*field), key);
        object->setValueForKey(int(address.type), u"type"_s);
        object->setValueForKey(QVariant::fromValue(person), u"person"_s);
    }
}

void VXContactWriter::writeGroups(const VXManagedObjectPtr &person, const QStringList &names)
{
    QList<VXManagedObjectPtr> groups;
    for (const QString &name : names)
        groups.append(groupNamed(name));
    const QList<VXManagedObjectPtr> old = relatedTo(*person, u"groups"_s);
    if (!std::ranges::is_permutation(old, groups))
        person->setRelatedObjects(person->entity().propertyForName(u"groups"_s)->index(), groups);
}

void VXContactWriter::addToGroup(const VXManagedObjectPtr &person, const QString &name)
{
    person->addRelated(person->entity().propertyForName(u"groups"_s)->index(), groupNamed(name));
    setDate(*person);
}

VXManagedObjectPtr VXContactWriter::groupNamed(const QString &name)
{
    VXManagedObjectPtr &group = _groups[name];
    if (group)
        return group;
    VXFetchRequest request(*_context.persistentStoreCoordinator()->model().entityForName(u"VXGroup"_s));
    request.predicate = VXPredicate::comparison(VXExpression::keyPath(u"name"_s), VXPredicate::Operator::Equal,
                                                VXExpression::constant(name));
    request.limit = 1;
    if (const auto found = _context.executeFetchRequest(request); found && !found->isEmpty()) {
        group = found->first();
    } else {
        group = _context.insertNewObject(u"VXGroup"_s);
        group->setValueForKey(name, u"name"_s);
    }
    return group;
}
