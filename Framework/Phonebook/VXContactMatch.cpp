#include "VXContactMatch.h"

#include "VXContactWords.h"
#include "VXContactWriter.h"
#include "VXManagedObjectContext.h"
#include "VXPhoneNumber.h"
#include "VXTextComparison.h"

#include <QtCore/QUrl>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

// Prefixes of keys.
const QString uidMark = u"u"_s;
const QString formerMark = u"f"_s; // of a former UID
const QString numberMark = u"n"_s;
const QString emailMark = u"e"_s;
const QString nameMark = u"s"_s;

constexpr QLatin1StringView uriScheme("x-coredata:");
constexpr qsizetype mostOfEach = 3; // matching persons that are read without comparing names first

struct Source
{
    QString mark;
    QString entity;
    QString attribute;
};

QString sortNameOf(const VXContactRecord &contact)
{
    return VXContactSortName(contact.firstName, contact.lastName, contact.nickname, contact.company);
}

// Includes the name, as many contacts may share a number.
QString placeKey(const QString &addressKey, const QString &name)
{
    return addressKey + u'\n' + name;
}

} // namespace

QString VXContactNameKey(const VXContactRecord &contact)
{
    const QString name =
        VXFoldedText(contact.displayName(), VXTextOption::CaseInsensitive | VXTextOption::DiacriticInsensitive);
    QStringList words = name.simplified().remove(u',').split(u' ', Qt::SkipEmptyParts);
    words.sort();
    return words.join(u' ');
}

// A number without digits cannot be looked up.
QStringList VXContactAddressKeys(const VXContactRecord &contact)
{
    QStringList keys;
    for (const VXContactRecord::Address &number : contact.numbers) {
        if (const QString search = VXPhoneNumberRecordString(number.value); !search.isEmpty())
            keys.append(numberMark + search);
    }
    for (const VXContactRecord::Address &email : contact.emails)
        keys.append(emailMark + email.value.toLower());
    if (keys.isEmpty())
        keys.append(nameMark + sortNameOf(contact));
    keys.removeDuplicates();
    return keys;
}

VXContactKeys::VXContactKeys(const VXContactRecord &contact)
{
    const VXContactRecord storable = VXStorableContact(contact);
    uid = storable.uid;
    formerUIDs = storable.formerUIDs();
    name = VXContactNameKey(storable);
    addresses = VXContactAddressKeys(storable);
}

bool VXContactKeys::hasAddresses() const
{
    return !addresses.constFirst().startsWith(nameMark);
}

bool VXContactMatch::prepare(const QList<VXContactKeys> &contacts, VXError *error)
{
    QStringList keys;
    for (const VXContactKeys &contact : contacts) {
        if (!contact.uid.isEmpty())
            keys << uidMark + contact.uid << formerMark + contact.uid;
        keys += contact.addresses;
    }
    QVariantList persons;
    if (!readPersons(keys, &persons, error))
        return false;
    if (persons.size() > mostOfEach * contacts.size() && !keepAlike(contacts, &persons, error))
        return false;
    if (persons.isEmpty())
        return true;
    VXFetchRequest request = requestFor(persons);
    request.prefetchedRelationships = {u"numbers"_s, u"emails"_s, u"urls"_s, u"addresses"_s, u"groups"_s};
    const std::optional<VXFetchResult> found = _context.executeFetchRequest(request, error);
    if (!found)
        return false;
    for (const VXManagedObjectPtr &person : *found)
        add({person, VXContactRecord(QVariant::fromValue(person))});
    return true;
}

VXFetchRequest VXContactMatch::requestFor(const QVariantList &persons) const
{
    VXFetchRequest request(*_context.persistentStoreCoordinator()->model().entityForName(u"VXPerson"_s));
    request.predicate =
        VXPredicate::comparison(VXExpression::self(), VXPredicate::Operator::In, VXExpression::constant(persons));
    return request;
}

// Of many persons who share a number, keeps those with the name or UID of one of the contacts, to avoid reading the
// others.
bool VXContactMatch::keepAlike(const QList<VXContactKeys> &contacts, QVariantList *persons, VXError *error)
{
    QSet<QString> names;
    QSet<QString> uids;
    for (const VXContactKeys &contact : contacts) {
        names.insert(contact.name);
        uids.insert(contact.uid);
    }
    uids.remove(QString());
    const std::optional<VXFetchResult> found = _context.executeFetchRequest(requestFor(*persons), error);
    if (!found)
        return false;
    persons->clear();
    for (const VXManagedObjectPtr &person : *found) {
        const auto text = [&](const QString &key) { return person->valueForKey(key).toString(); };
        VXContactRecord known;
        known.firstName = text(u"firstName"_s);
        known.middleName = text(u"middleName"_s);
        known.lastName = text(u"lastName"_s);
        known.nickname = text(u"nickname"_s);
        known.company = text(u"company"_s);
        known.uid = text(u"uid"_s);
        known.properties = text(u"properties"_s).split(u'\n', Qt::SkipEmptyParts);
        const QStringList ownUIDs = known.formerUIDs()
                                    << known.uid << person->objectID().uriRepresentation().toString();
        const bool isNamed = std::ranges::any_of(ownUIDs, [&](const QString &uid) { return uids.contains(uid); });
        const QString name = VXContactNameKey(known);
        if (isNamed || name.isEmpty() || names.contains(name))
            persons->append(QVariant::fromValue(person->objectID()));
    }
    return true;
}

// Reads the IDs of persons that have one of the keys.
bool VXContactMatch::readPersons(const QStringList &keys, QVariantList *persons, VXError *error)
{
    const VXPersistentStoreCoordinator &coordinator = *_context.persistentStoreCoordinator();
    QSet<VXManagedObjectID> known;
    const auto addPerson = [&](const VXManagedObjectID &person) {
        if (!known.contains(person) && !_placesOfPersons.contains(person)) {
            known.insert(person);
            persons->append(QVariant::fromValue(person));
        }
    };
    const Source sources[] = {{uidMark, u"VXPerson"_s, u"uid"_s},
                              {formerMark, u"VXSearchWord"_s, u"key"_s},
                              {nameMark, u"VXPerson"_s, u"sort_name"_s},
                              {numberMark, u"VXPhoneNumber"_s, u"search"_s},
                              {emailMark, u"VXEmailAddress"_s, u"search"_s}};
    for (const Source &source : sources) {
        QVariantList wanted;
        for (const QString &key : keys) {
            if (!key.startsWith(source.mark))
                continue;
            const QString text = key.sliced(source.mark.size());
            wanted.append(source.mark == formerMark ? QVariant(VXContactWords::keyOfFormerUID(text)) : QVariant(text));
            if (source.mark != uidMark || !wanted.constLast().toString().startsWith(uriScheme))
                continue;
            const VXManagedObjectID objectID =
                coordinator.objectIDForURIRepresentation(QUrl(wanted.constLast().toString()));
            if (!objectID.isNull() && objectID.entity().name() == "VXPerson"_L1)
                addPerson(objectID); // an export of this program
        }
        if (wanted.isEmpty())
            continue;
        VXFetchRequest request(*coordinator.model().entityForName(source.entity));
        request.predicate = VXPredicate::comparison(VXExpression::keyPath(source.attribute), VXPredicate::Operator::In,
                                                    VXExpression::constant(wanted));
        if (wanted.contains(QString())) // includes those without a name
            request.predicate = VXPredicate::anyOf(
                {request.predicate, *VXPredicate::predicateWithFormat(source.attribute + " == NULL"_L1)});
        const std::optional<VXFetchResult> found = _context.executeFetchRequest(request, error);
        if (!found)
            return false;
        const VXPropertyDescription *const person = request.entity().propertyForName(u"person"_s);
        for (const VXManagedObjectPtr &object : *found) {
            const VXManagedObjectPtr owner = person == nullptr ? object : object->related(person->index());
            if (owner)
                addPerson(owner->objectID());
        }
    }
    return true;
}

void VXContactMatch::add(const VXKnownContact &known, const VXContactKeys &contact)
{
    qsizetype place = _known.size();
    if (known.person) {
        const VXManagedObjectID &objectID = known.person->objectID();
        place = _placesOfPersons.value(objectID, place);
        _placesOfPersons.insert(objectID, place);
        if (!objectID.isTemporary()) // an export of this program may have this as UID
            _places[uidMark + objectID.uriRepresentation().toString()] = {place};
    }
    if (place == _known.size()) {
        _known.append(known);
        _keys.append(contact);
    } else {
        _known[place] = known;
        _keys[place] = contact;
    }
    QStringList keys;
    if (!contact.uid.isEmpty())
        keys.append(uidMark + contact.uid);
    for (const QString &uid : contact.formerUIDs)
        keys.append(formerMark + uid);
    for (const QString &key : contact.addresses)
        keys.append(placeKey(key, contact.name));
    for (const QString &key : std::as_const(keys)) {
        QList<qsizetype> &places = _places[key];
        if (!places.contains(place))
            places.append(place);
    }
}

const VXKnownContact *VXContactMatch::find(const VXContactKeys &contact,
                                           const std::function<int(const VXKnownContact &known)> &likeness) const
{
    if (!contact.uid.isEmpty()) {
        for (const QString &mark : {uidMark, formerMark}) {
            if (const QList<qsizetype> places = _places.value(mark + contact.uid); !places.isEmpty())
                return &_known[places.constFirst()];
        }
    }
    const VXKnownContact *best = nullptr;
    int most = 0;
    for (const QString &key : contact.addresses) {
        for (const qsizetype place : _places.value(placeKey(key, contact.name))) {
            const VXKnownContact &known = _known[place];
            // it may have changed meanwhile
            if (_keys[place].name != contact.name || _keys[place].hasAddresses() != contact.hasAddresses())
                continue;
            if (!likeness)
                return &known;
            const int like = likeness(known);
            if (like <= most)
                continue;
            best = &known;
            most = like;
        }
    }
    return best;
}
