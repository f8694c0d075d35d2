#include "VXContactWriter.h"

#include "VXContactHistory.h"
#include "VXContactName.h"
#include "VXManagedObjectContext.h"
#include "VXPhonebookType.h"
#include "VXPhoneNumber.h"

#include <QtCore/QSet>
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

const std::pair<QString, QString PostalAddress::*> postalTexts[] = {
    {u"street"_s, &PostalAddress::street}, {u"city"_s, &PostalAddress::city},       {u"state"_s, &PostalAddress::state},
    {u"zip"_s, &PostalAddress::zip},       {u"country"_s, &PostalAddress::country}, {u"text"_s, &PostalAddress::text}};

QVariant orNone(const QString &text)
{
    return text.isEmpty() ? QVariant() : QVariant(text);
}

// What equal numbers have in common: numbers are compared in the form used for look-ups.
QString numberKey(const QString &number)
{
    const QString search = VXPhoneNumberSearchString(number);
    return search.isEmpty() ? number : search;
}

QString emailKey(const QString &address)
{
    return address.toLower();
}

QString urlKey(const QString &url)
{
    return url;
}

// Equal numbers of two countries are different numbers.
bool areOfTwoCountries(const QString &a, const QString &b)
{
    const QString abroad = VXPhoneNumberInternationalDigits(a);
    const QString other = VXPhoneNumberInternationalDigits(b);
    return !abroad.isNull() && !other.isNull() && abroad != other;
}

bool isSame(const PostalAddress &a, const PostalAddress &b)
{
    return std::ranges::all_of(
        postalTexts, [&](const auto &each) { return (a.*each.second).simplified() == (b.*each.second).simplified(); });
}

QString lineOf(const Address &address)
{
    return QStringList{address.value, QString::number(address.type), address.label}.join(u'\0');
}

// Completes the known element by what the new one says in addition.
void learn(Address &known, const Address &news, bool isNumber)
{
    known.type = known.type == 0 ? news.type : known.type;
    known.label = known.label.isEmpty() ? news.label : known.label;
    if (isNumber && VXPhoneNumberInternationalDigits(known.value).isNull() &&
        !VXPhoneNumberInternationalDigits(news.value).isNull())
        known.value = news.value;
}

// Combines the kinds, such as home and mobile; false if they are incompatible, such as fax and mobile, or home and
// work.
bool joinKinds(Address &known, const Address &news)
{
    const auto areOne = [&](unsigned mask) {
        const unsigned first = known.type & mask;
        const unsigned second = news.type & mask;
        return first == 0 || second == 0 || first == second;
    };
    const auto isFax = [](const Address &each) { return (each.type & VXPhonebookTypeKindMask) == VXPhonebookTypeFax; };
    // A number with only a location is one to talk to.
    const bool areOfOneUse = isFax(known) == isFax(news) || (isFax(known) ? news : known).type == 0;
    const bool areJoined = areOfOneUse && areOne(VXPhonebookTypeKindMask) && areOne(VXPhonebookTypeLocationMask) &&
                           (known.label.isEmpty() || news.label.isEmpty() || known.label == news.label);
    if (areJoined)
        known.type |= news.type;
    return areJoined;
}

QList<Address> united(QList<Address> known, const QList<Address> &news, QString (*keyOf)(const QString &),
                      bool keepsKinds)
{
    const bool isNumber = keyOf == numberKey;
    QHash<QString, QList<qsizetype>> places;
    QSet<QString> lines;
    for (qsizetype at = 0; at < known.size(); ++at) {
        places[keyOf(known[at].value)].append(at);
        lines.insert(lineOf(known[at]));
    }
    for (const Address &each : news) {
        if (lines.contains(lineOf(each))) // exists already, though another could be completed by it as well
            continue;
        QList<qsizetype> &alike = places[keyOf(each.value)];
        const auto found = std::ranges::find_if(alike, [&](qsizetype at) {
            const bool isOne = !isNumber || !areOfTwoCountries(known[at].value, each.value);
            return isOne && (!keepsKinds || joinKinds(known[at], each));
        });
        if (found != alike.end()) {
            learn(known[*found], each, isNumber);
        } else {
            alike.append(known.size());
            known.append(each);
        }
    }
    return known;
}

// Of two different values one is kept; the other is added to the note.
void noteContradictions(VXContactRecord &both, const VXContactRecord &news)
{
    QStringList lines;
    if (!VXContactName::saysAllOf(both, news))
        lines.append("name: "_L1 + VXContactName::textOf(news));
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

bool hasLinesOf(const QString &note, const QString &other)
{
    const QStringList lines = note.split(u'\n');
    const QStringList others = other.split(u'\n');
    return std::ranges::all_of(others, [&](const QString &line) { return lines.contains(line); });
}

// How the present whole name is written, taken from the two merged contacts.
QStringList fullNameLinesOf(const VXContactRecord &both, const VXContactRecord &known, const VXContactRecord &news,
                            bool newsCount)
{
    const QStringList own = known.fullNameLines();
    const QStringList others = news.fullNameLines();
    const bool isOfNews = VXContactName::isSame(both, news);
    if (isOfNews != VXContactName::isSame(both, known))
        return isOfNews ? others : own;
    return own.isEmpty() || (newsCount && !others.isEmpty()) ? others : own;
}

// A line that occurs twice counts twice.
QStringList withoutThose(QStringList lines, const QStringList &known)
{
    for (const QString &each : known)
        lines.removeOne(each);
    return lines;
}

bool isSameList(const QList<Address> &a, const QList<Address> &b)
{
    const auto lines = [](const QList<Address> &list) {
        QStringList made;
        std::ranges::transform(list, std::back_inserter(made), lineOf);
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
    storable.removeControlCharacters();
    if (storable.firstName.isEmpty() && storable.lastName.isEmpty() && !storable.name.isEmpty())
        storable.firstName = storable.name;
    storable.name = QString();
    storable.uid = storable.uid.trimmed();
    for (const Text &each : texts) {
        QString &text = storable.*each.field;
        text = text.trimmed();
        if (text.isEmpty())
            text = QString();
    }
    for (QList<Address> *const list : {&storable.numbers, &storable.emails, &storable.urls}) {
        for (Address &each : *list) {
            each.value = each.value.trimmed();
            each.label = each.label.trimmed();
        }
        list->removeIf([](const Address &each) { return each.value.isEmpty(); });
    }
    for (Address &number : storable.numbers)
        number.value = VXPhoneNumberWithoutTrunkZero(number.value);
    for (QString &group : storable.groups)
        group = group.trimmed();
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
    const bool keepsKinds = precedence == VXContactPrecedence::Equals;
    VXContactRecord both = known;
    VXContactName::unite(both, news, newsCount);
    for (const Text &each : texts) {
        const QString &text = news.*each.field;
        const bool isName = std::ranges::find(VXContactName::parts, each.field) != VXContactName::parts.end();
        // including lines that a merge has added
        const bool isKnown = each.key == "note"_L1 && hasLinesOf(known.note, text);
        if (!isName && !isKnown && !text.isEmpty() && (newsCount || (both.*each.field).isEmpty()))
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
    both.numbers = united(known.numbers, news.numbers, numberKey, keepsKinds);
    both.emails = united(known.emails, news.emails, emailKey, keepsKinds);
    both.urls = united(known.urls, news.urls, urlKey, keepsKinds);
    for (const PostalAddress &address : news.addresses) {
        if (std::ranges::none_of(both.addresses, [&](const PostalAddress &each) { return isSame(each, address); }))
            both.addresses.append(address);
    }
    both.groups += news.groups;
    both.groups.removeDuplicates();
    both.properties += withoutThose(news.properties, known.properties);
    both.removeFullNameLines();
    both.addFormerUID(newsCount ? QString() : news.uid);
    both.properties = fullNameLinesOf(both, known, news, newsCount) + both.properties;
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
    fill(person, storable, true);
    return person;
}

void VXContactWriter::replace(const VXManagedObjectPtr &person, const VXContactRecord &contact)
{
    fill(person, VXStorableContact(contact), false);
}

void VXContactWriter::fill(const VXManagedObjectPtr &person, const VXContactRecord &storable, bool isNew)
{
    write(*person, storable, isNew);
    const auto writeList = [&](const QString &relationship, const QString &valueKey, const QList<Address> &list) {
        if (!isNew || !list.isEmpty())
            writeAddresses(person, relationship, valueKey, list);
    };
    writeList(u"numbers"_s, u"number"_s, storable.numbers);
    writeList(u"emails"_s, u"address"_s, storable.emails);
    writeList(u"urls"_s, u"url"_s, storable.urls);
    if (!isNew || !storable.addresses.isEmpty())
        writePostalAddresses(person, storable);
    if (!isNew || !storable.groups.isEmpty())
        writeGroups(person, storable.groups);
    setDate(*person);
}

void VXContactWriter::setDate(VXManagedObject &person) const
{
    const QString key = u"changedDate"_s;
    if (_date.isValid())
        person.setValueForKey(VXContactHistory::dateOfChange(_date, person.valueForKey(key).toDateTime()), key);
}

// Drops the spelling of the whole name when the name has changed.
QStringList VXContactWriter::propertiesFor(const VXManagedObject &person, const VXContactRecord &contact)
{
    if (person.isInserted())
        return contact.properties;
    VXContactRecord before;
    for (const Text &each : texts)
        before.*each.field = person.valueForKey(each.key).toString();
    before.properties = person.valueForKey(u"properties"_s).toString().split(u'\n', Qt::SkipEmptyParts);
    VXContactRecord after = contact;
    if (!VXContactName::isSame(before, contact) && before.fullNameLines() == contact.fullNameLines())
        after.removeFullNameLines();
    return after.properties;
}

void VXContactWriter::write(VXManagedObject &person, const VXContactRecord &contact, bool isNew)
{
    const QStringList properties = propertiesFor(person, contact);
    const auto set = [&](const QString &key, const QVariant &value) {
        if (!isNew || value.isValid())
            person.setValueForKey(value, key);
    };
    for (const Text &each : texts) {
        if (!isNew || !(contact.*each.field).isEmpty())
            person.setValueForKey(orNone(contact.*each.field), each.key);
    }
    if (!contact.uid.isEmpty())
        set(u"uid"_s, contact.uid);
    set(u"properties"_s, orNone(properties.join(u'\n')));
    set(u"image"_s, contact.image.isEmpty() ? QVariant() : QVariant(contact.image));
    set(u"birthday"_s,
        contact.birthday.isValid() ? QVariant(QDateTime(contact.birthday, QTime(0, 0), Qt::UTC)) : QVariant());
}

void VXContactWriter::writeAddresses(const VXManagedObjectPtr &person, const QString &relationship,
                                     const QString &valueKey, const QList<Address> &addresses)
{
    QHash<QString, int> due;
    for (const Address &each : addresses)
        ++due[lineOf(each)];
    QHash<QString, int> kept;
    for (const VXManagedObjectPtr &object : relatedTo(*person, relationship)) {
        const QString line = lineOf({object->valueForKey(valueKey).toString(), object->valueForKey(u"type"_s).toUInt(),
                                     object->valueForKey(u"label"_s).toString()});
        if (due.value(line) > kept.value(line))
            ++kept[line];
        else
            _context.deleteObject(object);
    }
    const VXEntityDescription &entity = person->entity().relationshipForName(relationship)->destination();
    const auto indexOf = [&](const QString &key) { return entity.propertyForName(key)->index(); };
    const int value = indexOf(valueKey);
    const int type = indexOf(u"type"_s);
    const int label = indexOf(u"label"_s);
    const int owner = indexOf(u"person"_s);
    for (const Address &address : addresses) {
        if (int &there = kept[lineOf(address)]; there > 0) {
            --there;
            continue;
        }
        const VXManagedObjectPtr object = _context.insertNewObject(entity);
        object->setText(value, address.value);
        object->setNumber(type, int(address.type));
        if (!address.label.isEmpty())
            object->setText(label, address.label);
        object->setRelated(owner, person);
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
