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

// What keys begin with.
const QString uidMark = u"u"_s;
const QString numberMark = u"n"_s;
const QString emailMark = u"e"_s;
const QString nameMark = u"s"_s;

constexpr QLatin1StringView uriScheme("x-coredata:");

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

bool hasAddresses(const VXContactRecord &contact)
{
    return !contact.numbers.isEmpty() || !contact.emails.isEmpty();
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

QStringList VXContactMatch::keysOf(const VXContactRecord &contact)
{
    QStringList keys;
    if (!contact.uid.isEmpty())
        keys.append(uidMark + contact.uid);
    for (const VXContactRecord::Address &number : contact.numbers)
        keys.append(numberMark + VXPhoneNumberSearchString(number.value));
    for (const VXContactRecord::Address &email : contact.emails)
        keys.append(emailMark + email.value.toLower());
    if (!hasAddresses(contact))
        keys.append(nameMark + sortNameOf(contact));
    keys.removeDuplicates();
    return keys;
}

bool VXContactMatch::prepare(const QList<VXContactRecord> &contacts, VXError *error)
{
    QStringList keys;
    for (const VXContactRecord &contact : contacts)
        keys += keysOf(VXStorableContact(contact));
    QVariantList persons;
    if (!readPersons(keys, &persons, error))
        return false;
    if (persons.isEmpty())
        return true;
    VXFetchRequest request(*_context.persistentStoreCoordinator()->model().entityForName(u"VXPerson"_s));
    request.predicate =
        VXPredicate::comparison(VXExpression::self(), VXPredicate::Operator::In, VXExpression::constant(persons));
    request.prefetchedRelationships = {u"numbers"_s, u"emails"_s, u"urls"_s, u"addresses"_s, u"groups"_s};
    const std::optional<VXFetchResult> found = _context.executeFetchRequest(request, error);
    if (!found)
        return false;
    for (const VXManagedObjectPtr &person : *found)
        add({person, VXContactRecord(QVariant::fromValue(person))});
    return true;
}

// The IDs of those that have one of the keys.
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
                              {nameMark, u"VXPerson"_s, u"sort_name"_s},
                              {numberMark, u"VXPhoneNumber"_s, u"search"_s},
                              {emailMark, u"VXEmailAddress"_s, u"search"_s}};
    for (const Source &source : sources) {
        QVariantList wanted;
        for (const QString &key : keys) {
            if (!key.startsWith(source.mark))
                continue;
            wanted.append(key.sliced(source.mark.size()));
            if (source.mark != uidMark || !wanted.constLast().toString().startsWith(uriScheme))
                continue;
            const VXManagedObjectID objectID =
                coordinator.objectIDForURIRepresentation(QUrl(wanted.constLast().toString()));
            if (!objectID.isNull() && objectID.entity().name() == "VXPerson"_L1)
                addPerson(objectID); // of an export of ours
        }
        if (wanted.isEmpty())
            continue;
        VXFetchRequest request(*coordinator.model().entityForName(source.entity));
        request.predicate = VXPredicate::comparison(VXExpression::keyPath(source.attribute), VXPredicate::Operator::In,
                                                    VXExpression::constant(wanted));
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

void VXContactMatch::add(const VXKnownContact &known)
{
    qsizetype place = _known.size();
    if (known.person) {
        const VXManagedObjectID &objectID = known.person->objectID();
        place = _placesOfPersons.value(objectID, place);
        _placesOfPersons.insert(objectID, place);
        _places[uidMark + objectID.uriRepresentation().toString()] = {place};
    }
    if (place == _known.size())
        _known.append(known);
    else
        _known[place] = known;
    for (const QString &key : keysOf(VXStorableContact(known.contact))) {
        QList<qsizetype> &places = _places[key];
        if (!places.contains(place))
            places.append(place);
    }
}

const VXKnownContact *VXContactMatch::find(const VXContactRecord &contact,
                                           const std::function<bool(const VXContactRecord &known)> &mayBe) const
{
    const VXContactRecord storable = VXStorableContact(contact);
    const QString name = VXContactNameKey(storable);
    const auto isLike = [&](const VXContactRecord &known) {
        return VXContactNameKey(known) == name && hasAddresses(known) == hasAddresses(storable) &&
               (!mayBe || mayBe(known));
    };
    for (const QString &key : keysOf(storable)) {
        for (const qsizetype place : _places.value(key)) {
            const VXKnownContact &known = _known[place];
            if (key.startsWith(uidMark) || isLike(known.contact))
                return &known;
        }
    }
    return nullptr;
}
