#include "VXContactReconciler.h"

#include "VXContactMatch.h"
#include "VXContactMerge.h"
#include "VXContactWriter.h"
#include "VXCoreDataSaveError.h"
#include "VXErrorDomain.h"
#include "VXPhonebookPluginString.h"
#include "VXPhoneNumber.h"
#include "VXStoreWorkLock.h"

#include <QtCore/QHash>
#include <QtCore/QMap>
#include <QtCore/QSet>

#include <algorithm>

using namespace Qt::StringLiterals;

using Person = VXManagedObjectPtr;

namespace {

const QStringList contactRelationships{u"numbers"_s, u"emails"_s, u"urls"_s, u"addresses"_s, u"groups"_s, u"places"_s};

VXContactRecord recordOf(const Person &person)
{
    return VXStorableContact(VXContactRecord(QVariant::fromValue(person)));
}

VXContactRecord phoneRecordOf(const Person &person)
{
    return VXContactForPhone(recordOf(person));
}

QString nameOf(const VXContactRecord &contact)
{
    const QString name = contact.displayName();
    return name.isEmpty() ? VXPhonebookPluginString(u"(no name)"_s) : name;
}

int placesIndex(const Person &person)
{
    return person->entity().propertyForName(u"places"_s)->index();
}

// A number that nobody changed stays on the phone as it is written there.
VXContactRecord asWrittenThere(VXContactRecord wanted, const VXContactRecord &there)
{
    for (VXContactRecord::Address &number : wanted.numbers) {
        const auto written = std::ranges::find_if(there.numbers, [&](const VXContactRecord::Address &each) {
            return VXPhoneNumberWithoutTrunkZero(each.value.trimmed()) == number.value;
        });
        if (written != there.numbers.end())
            number.value = written->value;
    }
    return wanted;
}

// The object for the action that changes the contact: values that we do not know stay as they were read.
QVariantMap objectFor(const VXPhoneContact &contact, const VXContactRecord &wanted)
{
    QVariantMap object = contact.item;
    const QVariantMap known = VXContactRecord(contact.item).map();
    object.removeIf([&](const auto &entry) {
        return known.contains(entry.key()) || entry.value().typeId() == QMetaType::QVariantList;
    });
    object.insert(asWrittenThere(wanted, VXContactRecord(contact.item)).map());
    object.insert(u"expected"_s, contact.item);
    return object;
}

} // namespace

VXContactReconciler::VXContactReconciler(const VXPersistentStoreCoordinator::Ptr &coordinator, const QString &deviceURL,
                                         const QString &deviceName, const QString &phone)
    : _coordinator(coordinator), _deviceURL(deviceURL), _deviceName(deviceName), _phone(phone), _context(coordinator),
      _writer(std::make_unique<VXContactWriter>(_context))
{
    _context.setMergePolicy(VXMergePolicy::MergeByPropertyObjectTrumps);
}

VXContactReconciler::~VXContactReconciler() = default;

bool VXContactReconciler::run(const QList<VXPhoneContact> &contacts, bool isAll, VXError *error)
{
    const VXStoreWorkLock saving(*_coordinator, VXStoreWorkLock::savingName);
    std::optional<QList<VXContactPlace>> known = saving.isHeld(error) ? readPlaces(error) : std::nullopt;
    if (!known)
        return false;
    const bool isNew = _isNewPhone && isAll; // otherwise what was not read might be added twice
    const QList<Person> former = isNew ? forgetPlaces(*known) : QList<Person>();
    if (isNew)
        known->clear();
    const VXContactPlaces places(*known, contacts);
    if (!_acceptsDeletions)
        _outcome.question = questionAbout(places, isAll);
    if (!_outcome.question.isNull())
        return true;
    VXError failure;
    bool isDone = reconcile(places, isAll, &failure);
    for (const Person &person : former) {
        if (isDone && !hasPlace(person))
            put(makePlace(person));
    }
    isDone = isDone && (!_addsAll || addAll(&failure)) && (!_context.hasChanges() || _context.save(&failure));
    if (isDone) {
        for (VXPhoneChange &change : _outcome.changes)
            change.placeID = std::exchange(change.place, {})->objectID();
        return true;
    }
    VXLogCoreDataSaveError(failure);
    VXSetError(error, failure);
    return false;
}

std::optional<QList<VXContactPlace>> VXContactReconciler::readPlaces(VXError *error)
{
    VXFetchRequest request(*_coordinator->model().entityForName(VXContactPlace::entityName));
    request.predicate = *VXPredicate::predicateWithFormat(u"device_url == %@"_s, {_deviceURL});
    const std::optional<VXFetchResult> found = _context.executeFetchRequest(request, error);
    if (!found)
        return std::nullopt;
    QVariantList persons;
    QList<VXContactPlace> places;
    QSet<QString> phones;
    for (const VXManagedObjectPtr &object : *found) {
        const VXContactPlace place(object);
        phones.insert(place.phone());
        if (!_isNewPhone && !isMine(place))
            continue;
        places.append(place);
        if (const Person person = place.person())
            persons.append(QVariant::fromValue(person->objectID()));
    }
    phones.remove(QString());
    _outcome.isOtherPhone = !_phone.isEmpty() && !phones.isEmpty() && !phones.contains(_phone);
    if (_phone.isEmpty() && phones.size() > 1) {
        VXSetError(error, VXMakeError(VXPhonebookPluginString(
                              u"Of several phones that were here the phone does not tell which it is."_s)));
        return std::nullopt;
    }
    VXFetchRequest all(*_coordinator->model().entityForName(u"VXPerson"_s));
    all.predicate =
        VXPredicate::comparison(VXExpression::self(), VXPredicate::Operator::In, VXExpression::constant(persons));
    all.prefetchedRelationships = contactRelationships;
    _persons = _context.executeFetchRequest(all, error); // with everything needed from them below
    if (!_persons)
        return std::nullopt;
    return places;
}

// A phone that was reset, got another card, or does not answer correctly has not deleted its contacts; nor has a store
// that lost them.
QString VXContactReconciler::questionAbout(const VXContactPlaces &places, bool isAll) const
{
    struct Count
    {
        int all = 0;
        int gone = 0;
        int deletedHere = 0;
    };
    QMap<QString, Count> counts; // by memory
    for (const VXContactPlaces::Known &known : places.known()) {
        if (known.place.location().isEmpty())
            continue;
        Count &count = counts[known.place.location().section(u'/', 0, 0)];
        ++count.all;
        if (!known.place.person())
            ++count.deletedHere;
        else if (known.met == nullptr)
            ++count.gone;
    }
    for (const Count &count : std::as_const(counts)) {
        if (isAll && 2 * count.gone > count.all)
            return VXPhonebookPluginString(u"Of the %1 contacts that the phone had, %2 are gone from it."_s)
                .arg(count.all)
                .arg(count.gone);
        if (2 * count.deletedHere > count.all)
            return VXPhonebookPluginString(u"Of the %1 contacts that the phone had, %2 were deleted here."_s)
                .arg(count.all)
                .arg(count.deletedHere);
    }
    return {};
}

// First everything that comes from the phone: a person may be on it twice.
bool VXContactReconciler::reconcile(const VXContactPlaces &places, bool isAll, VXError *error)
{
    QList<Link> links;
    QList<VXContactPlaces::Known> kept;
    for (const VXPhoneContact *const contact : places.news())
        links.append({contact});
    for (const VXContactPlaces::Known &known : places.known()) {
        if (known.met == nullptr)
            continue;
        if (known.place.person())
            kept.append(known);
        else
            links.append({known.met, known.place});
    }
    if (!link(links, error))
        return false;
    if (!std::ranges::all_of(kept, [&](const VXContactPlaces::Known &known) { return takeOver(known, error); }))
        return false;
    if (!uniteCards(kept, error))
        return false;
    for (Link &link : _links) {
        if (link.wasKnown)
            bringBack({.place = link.place, .met = link.contact});
        else
            link.place.note(link.contact->location, phoneRecordOf(link.place.person()), link.contact->contact);
    }
    for (const VXContactPlaces::Known &known : std::as_const(kept))
        bringBack(known);
    if (!_phone.isEmpty()) {
        for (const VXContactPlaces::Known &known : places.known()) {
            if (!known.place.object()->isDeleted())
                VXContactPlace(known.place).setPhone(_phone); // the phone may not have told it before
        }
    }
    for (const VXContactPlaces::Known &known : places.known()) {
        const bool isAbsent = known.met == nullptr && (isAll || known.place.location().isEmpty());
        if (isAbsent && !applyAbsence(known.place, error))
            return false;
    }
    return true;
}

// -- From the phone

bool VXContactReconciler::link(const QList<Link> &links, VXError *error)
{
    QList<VXContactRecord> contacts;
    for (const Link &link : links)
        contacts.append(link.contact->contact);
    VXContactMatch match(_context);
    return match.prepare(contacts, error) &&
           std::ranges::all_of(links, [&](const Link &link) { return linkContact(link, match, error); });
}

// A person who is already here is the same, and gets what the phone knows in addition.
bool VXContactReconciler::linkContact(Link link, VXContactMatch &match, VXError *error)
{
    const VXContactRecord &contact = link.contact->contact;
    const bool wasDeletedHere = bool(link.place.object());
    const VXKnownContact *const known = contact.displayName().isEmpty() ? nullptr : match.find(contact);
    Person person = known != nullptr ? known->person : Person();
    if (wasDeletedHere && person && hasPlace(person))
        person = nullptr; // the other one of two that were the same
    if (wasDeletedHere && !person && VXIsSameContact(contact, link.place.there())) {
        remove(link.place, *link.contact);
        return true;
    }
    if (wasDeletedHere && !person)
        _outcome.conflicts.append(
            VXPhonebookPluginString(u"%1 was deleted here and changed on the phone: it is kept."_s)
                .arg(nameOf(contact)));
    if (!person) {
        if (!beginChangeSet(error))
            return false;
        person = _writer->insert(contact);
        match.add({person, contact});
        _outcome.added.append(nameOf(contact));
    } else if (!unite(person, contact, &match, error)) {
        return false;
    }
    link.wasKnown = wasDeletedHere;
    if (wasDeletedHere)
        link.place.setPerson(person);
    else
        link.place = makePlace(person);
    _links.append(link);
    return true;
}

bool VXContactReconciler::unite(const VXManagedObjectPtr &person, const VXContactRecord &contact, VXContactMatch *match,
                                VXError *error)
{
    const VXContactRecord here = recordOf(person);
    const VXContactRecord both = VXUnitedContact(here, contact, VXContactPrecedence::Known);
    if (VXIsSameContact(here, both))
        return true;
    if (match != nullptr)
        match->add({person, both});
    return replace(person, both, error);
}

// What one card of a person has lost, another may have gained at the same time.
bool VXContactReconciler::uniteCards(const QList<VXContactPlaces::Known> &kept, VXError *error)
{
    QHash<Person, int> cards;
    for (const VXContactPlaces::Known &known : kept)
        ++cards[known.place.person()];
    for (const Link &link : std::as_const(_links)) {
        const Person person = link.place.person();
        if (cards.contains(person) && !unite(person, link.contact->contact, nullptr, error))
            return false;
    }
    for (const VXContactPlaces::Known &known : kept) {
        const Person person = known.place.person();
        if (cards.value(person) < 2 || known.place.location().isEmpty())
            continue;
        const VXContactRecord news = VXMergeContacts(known.place.there(), known.met->contact, {}, {}).contact;
        VXContactRecord lists;
        lists.numbers = news.numbers;
        lists.emails = news.emails;
        lists.urls = news.urls;
        lists.addresses = news.addresses;
        if (!unite(person, lists, nullptr, error))
            return false;
    }
    return true;
}

bool VXContactReconciler::takeOver(const VXContactPlaces::Known &known, VXError *error)
{
    if (known.place.location().isEmpty()) // what the phone has made of our own change
        return true;
    const Person person = known.place.person();
    const VXContactRecord here = recordOf(person);
    VXMergedContact merged = VXMergeContacts(known.place.there(), known.met->contact, known.place.here(), here);
    for (const VXMergedContact::Conflict &conflict : std::as_const(merged.conflicts)) {
        const QString what = VXPhonebookPluginString(conflict.key);
        const QString line = what + ": "_L1 + conflict.other;
        QString &note = merged.contact.note;
        if (!note.split(u'\n').contains(line))
            note += note.isEmpty() ? line : u'\n' + line;
        _outcome.conflicts.append(
            VXPhonebookPluginString(
                u"%1 was changed here and on the phone (%2): the note has what the phone had, %3."_s)
                .arg(nameOf(merged.contact), what, conflict.other));
    }
    return VXIsSameContact(here, merged.contact) || replace(person, merged.contact, error);
}

bool VXContactReconciler::applyAbsence(VXContactPlace place, VXError *error)
{
    const Person person = place.person();
    const bool isPending = place.location().isEmpty();
    if (person && isPending) {
        put(place);
        return true;
    }
    const bool isElsewhere = person && person->relatedCount(placesIndex(person)) > 1;
    const bool isChanged = person && !VXIsSameContact(place.here(), phoneRecordOf(person));
    if (isChanged && !isElsewhere) {
        _outcome.conflicts.append(
            VXPhonebookPluginString(u"%1 was deleted on the phone and changed here: it is kept."_s)
                .arg(nameOf(recordOf(person))));
        put(place);
        return true;
    }
    const bool goes = person && !isElsewhere;
    if (goes && !noteBefore(person, true, error))
        return false;
    place.setPerson(nullptr);
    _context.deleteObject(place.object());
    if (!goes)
        return true;
    _outcome.removed.append(nameOf(recordOf(person)));
    _context.deleteObject(person);
    return true;
}

// -- To the phone

// What the phone should have: its present values, with what has changed here since both agreed.
void VXContactReconciler::bringBack(const VXContactPlaces::Known &known)
{
    VXContactPlace place = known.place;
    const VXContactRecord &there = known.met->contact;
    const VXContactRecord here = phoneRecordOf(place.person());
    const VXContactRecord wanted = VXContactForPhone(VXMergeContacts(place.here(), here, there, there).contact);
    if (VXIsSameContact(wanted, there)) {
        place.forgetRefusal();
        return place.note(known.met->location, here, there);
    }
    place.note(known.met->location, place.here(), there); // until it has been carried out
    _outcome.changes.append(
        {.name = nameOf(here), .object = objectFor(*known.met, wanted), .here = here, .place = place.object()});
}

void VXContactReconciler::remove(const VXContactPlace &place, const VXPhoneContact &contact)
{
    QVariantMap object{{u"memory"_s, contact.item.value(u"memory"_s)},
                       {u"location"_s, contact.item.value(u"location"_s)},
                       {u"expected"_s, contact.item}};
    VXContactPlace(place).note(contact.location, place.here(), place.there());
    _outcome.changes.prepend({.name = nameOf(contact.contact), .object = std::move(object), .place = place.object()});
}

void VXContactReconciler::put(VXContactPlace place)
{
    const VXContactRecord here = phoneRecordOf(place.person());
    place.note({}, here, here);
    _outcome.changes.append({.name = nameOf(here), .object = here.map(), .here = here, .place = place.object()});
}

// @return the persons they belonged to.
QList<Person> VXContactReconciler::forgetPlaces(const QList<VXContactPlace> &places)
{
    QList<Person> persons;
    for (VXContactPlace place : places) {
        if (const Person person = place.person(); person && !persons.contains(person))
            persons.append(person);
        place.setPerson(nullptr);
        _context.deleteObject(place.object());
    }
    return persons;
}

bool VXContactReconciler::addAll(VXError *error)
{
    VXFetchRequest request(*_coordinator->model().entityForName(u"VXPerson"_s));
    request.prefetchedRelationships = contactRelationships;
    const std::optional<VXFetchResult> persons = _context.executeFetchRequest(request, error);
    if (!persons)
        return false;
    for (const Person &person : *persons) {
        const bool isOurs = !person->valueForKey(u"url_string"_s).isValid(); // not supplied by a plugin
        if (isOurs && !hasPlace(person) && !recordOf(person).displayName().isEmpty())
            put(makePlace(person));
    }
    return true;
}

// -- Here

bool VXContactReconciler::replace(const VXManagedObjectPtr &person, const VXContactRecord &contact, VXError *error)
{
    if (!person->isInserted()) {
        if (!_noted.contains(person))
            _outcome.changed.append(nameOf(contact));
        if (!noteBefore(person, false, error))
            return false;
    }
    _writer->replace(person, contact);
    return true;
}

bool VXContactReconciler::noteBefore(const VXManagedObjectPtr &person, bool isRemoved, VXError *error)
{
    if (!beginChangeSet(error))
        return false;
    if (_noted.contains(person))
        return true;
    _noted.insert(person);
    VXContactHistory::note(_context, *_changeSet, person, isRemoved, _deviceURL);
    return true;
}

VXContactPlace VXContactReconciler::makePlace(const VXManagedObjectPtr &person)
{
    return VXContactPlace::make(_deviceURL, _phone, person, _context);
}

bool VXContactReconciler::isMine(const VXContactPlace &place) const
{
    return _phone.isEmpty() || place.phone().isEmpty() || place.phone() == _phone;
}

bool VXContactReconciler::hasPlace(const VXManagedObjectPtr &person) const
{
    return std::ranges::any_of(person->relatedObjects(placesIndex(person)), [this](const VXManagedObjectPtr &place) {
        return place->valueForKey(u"device_url"_s).toString() == _deviceURL && isMine(VXContactPlace(place));
    });
}

bool VXContactReconciler::beginChangeSet(VXError *error)
{
    if (_changeSet)
        return true;
    _changeSet = VXContactHistory::insert(_context, u"sync"_s, _deviceName, error);
    if (!_changeSet)
        return false;
    _writer->setChangeSet(_changeSet->number, _changeSet->date);
    return true;
}
