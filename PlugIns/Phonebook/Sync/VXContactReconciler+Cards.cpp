// What becomes of each contact of a phone, and of what is known of it.

#include "VXContactReconciler.h"

#include "VXContactMatch.h"
#include "VXContactMerge.h"
#include "VXPhonebookPluginString.h"

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

QString nameOf(const VXContactRecord &contact)
{
    const QString name = contact.displayName();
    return name.isEmpty() ? VXPhonebookPluginString(u"(no name)"_s) : name;
}

int placesIndex(const VXManagedObjectPtr &person)
{
    return person->entity().propertyForName(u"places"_s)->index();
}

} // namespace

// -- From the phone

bool VXContactReconciler::linkAll(VXError *error)
{
    QList<Link> links;
    for (const qsizetype contact : _places.news())
        links.append(Link{.contact = contact});
    for (const qsizetype known : knownThat([](const Known &each) { return each.met >= 0 && each.person.isNull(); }))
        links.append({_places.known()[known].met, known});
    return linkInSlices(links, error);
}

bool VXContactReconciler::linkInSlices(const QList<Link> &links, VXError *error)
{
    const auto slice = [&](qsizetype start, qsizetype end, VXError *why) {
        return linkSlice(links.sliced(start, end - start), why);
    };
    return inSlices(links.size(), slice, error);
}

// A driver may say which phone it is only in the end.
bool VXContactReconciler::tellPhone(VXError *error)
{
    const auto slice = [&](qsizetype start, qsizetype end, VXError *why) {
        QVariantList places;
        for (const Linked &linked : _linked.sliced(start, end - start))
            places.append(QVariant::fromValue(linked.place));
        if (!readPlaces(places, {}, why))
            return false;
        for (const VXManagedObjectPtr &object : *_slice->places) {
            VXContactPlace place(object);
            setPhone(place);
        }
        return true;
    };
    return inSlices(_linked.size(), slice, error);
}

bool VXContactReconciler::linkSlice(const QList<Link> &links, VXError *error)
{
    QList<VXPhoneContact> contacts;
    QList<VXContactKeys> keys;
    for (const Link &link : links) {
        const std::optional<VXPhoneContact> contact = _contacts->at(link.contact, error);
        if (!contact)
            return false;
        contacts.append(*contact);
        keys.append(_contacts->keysOf(link.contact, *contact));
    }
    VXContactMatch match(_slice->context);
    if (!match.prepare(keys, error))
        return false;
    for (qsizetype index = 0; index < links.size(); ++index) {
        if (!linkContact(links[index], contacts[index], keys[index], match, error))
            return false;
    }
    return true;
}

// Whoever is here already is the same, and learns what the phone knows besides.
bool VXContactReconciler::linkContact(const Link &link, const VXPhoneContact &there, const VXContactKeys &keys,
                                      VXContactMatch &match, VXError *error)
{
    const VXContactRecord &contact = there.contact;
    const bool wasDeletedHere = link.known >= 0;
    VXContactPlace place;
    if (wasDeletedHere) {
        place = VXContactPlace(_slice->context.existingObjectWithID(_places.known()[link.known].place));
        if (!place.object())
            return true;
        setPhone(place);
    }
    const VXKnownContact *const known = contact.displayName().isEmpty() ? nullptr : match.find(keys);
    Person person = known != nullptr ? known->person : Person();
    const bool isNew = !person;
    const bool liesElsewhere = person && hasOtherPlace(person);
    if (wasDeletedHere && liesElsewhere)
        person = nullptr; // the other one of two that were the same
    if (wasDeletedHere && !person && VXIsSameContact(contact, place.there())) {
        place.note(there.location, place.here(), place.there());
        addChange(VXPhoneChange::Kind::Delete, nameOf(contact), place, link.contact);
        return true;
    }
    if (wasDeletedHere && !person)
        _outcome.conflicts.append(
            VXPhonebookPluginString(u"%1 was deleted here and changed on the phone: it is kept."_s)
                .arg(nameOf(contact)));
    if (!person) {
        if (!beginChangeSet(error))
            return false;
        person = _slice->writer.insert(contact);
        match.add({person, contact}, keys);
        _outcome.added.append(nameOf(contact));
    } else if (!join(person, contact, match, error)) {
        return false;
    }
    if (wasDeletedHere) {
        place.setPerson(person);
    } else {
        place = makePlace(person);
        place.note(there.location, isNew ? contact : VXPhoneRecordOfPerson(person), contact);
    }
    if (wasDeletedHere || liesElsewhere)
        _slice->late.append(person);
    _slice->linked.append({place, {.contact = link.contact, .wasKnown = wasDeletedHere}});
    return true;
}

// What one card of the phone brings is no change of the user's that its others are to learn, wherever the sync is broken off.
bool VXContactReconciler::join(const Person &person, const VXContactRecord &contact, VXContactMatch &match,
                               VXError *error)
{
    const VXContactRecord before = VXPhoneRecordOfPerson(person);
    if (!unite(person, contact, &match, error))
        return false;
    const VXContactRecord after = VXPhoneRecordOfPerson(person);
    if (VXIsSameContact(before, after))
        return true;
    for (VXContactPlace place : placesHere(person)) {
        const VXContactRecord here = place.here();
        if (!place.location().isEmpty())
            place.note(place.location(), VXContactForPhone(VXMergeContacts(before, after, here, here).contact),
                       place.there());
    }
    return true;
}

bool VXContactReconciler::unite(const Person &person, const VXContactRecord &contact, VXContactMatch *match,
                                VXError *error)
{
    const VXContactRecord here = VXRecordOfPerson(person);
    const VXContactRecord both = VXUnitedContact(here, contact, VXContactPrecedence::Known);
    if (VXIsSameContact(here, both))
        return true;
    if (match != nullptr)
        match->add({person, both});
    return replace(person, both, error);
}

// Those whose only card lies where it is known to.
bool VXContactReconciler::keepAll(VXError *error)
{
    const auto isKept = [](const Known &known) { return known.met >= 0 && !known.person.isNull(); };
    QSet<VXManagedObjectID> persons;
    for (const qsizetype index : knownThat(isKept)) {
        const VXManagedObjectID &person = _places.known()[index].person;
        if (persons.contains(person))
            _late.insert(person);
        persons.insert(person);
    }
    const auto keep = [this](const Known &known, const VXContactPlace &place, VXError *why) {
        const std::optional<VXPhoneContact> contact = _contacts->at(known.met, why);
        return contact && settle({{.place = place, .contact = *contact, .index = known.met}}, why);
    };
    return forKnown(knownThat([&](const Known &known) { return isKept(known) && !_late.contains(known.person); }), keep,
                    error);
}

// All cards of a person together: what one has lost, another may have got at the same time.
bool VXContactReconciler::settleLate(VXError *error)
{
    QHash<VXManagedObjectID, QList<Linked>> cards; // by person; those that were linked first
    for (const Linked &linked : std::as_const(_linked)) {
        if (_late.contains(linked.person))
            cards[linked.person].append(linked);
    }
    for (const Known &known : _places.known()) {
        if (known.met >= 0 && _late.contains(known.person))
            cards[known.person].append({known.place, known.person, known.met, true, false});
    }
    const QList<VXManagedObjectID> persons = cards.keys();
    const auto slice = [&](qsizetype start, qsizetype end, VXError *why) {
        const QList<VXManagedObjectID> some = persons.sliced(start, end - start);
        QVariantList places;
        QVariantList ids;
        for (const VXManagedObjectID &person : some) {
            ids.append(QVariant::fromValue(person));
            for (const Linked &card : cards[person])
                places.append(QVariant::fromValue(card.place));
        }
        return readPlaces(places, ids, why) && std::ranges::all_of(some, [&](const VXManagedObjectID &person) {
                   return settleCards(cards[person], why);
               });
    };
    return inSlices(persons.size(), slice, error);
}

bool VXContactReconciler::settleCards(const QList<Linked> &linked, VXError *error)
{
    QList<Card> cards;
    for (const Linked &each : linked) {
        const VXContactPlace place(_slice->context.existingObjectWithID(each.place));
        if (!place.object())
            continue;
        const std::optional<VXPhoneContact> contact = _contacts->at(each.contact, error);
        if (!contact)
            return false;
        cards.append({place, *contact, each.contact, each.isNow, each.wasKnown});
    }
    return settle(cards, error);
}

// `cards`: of one person.
bool VXContactReconciler::settle(const QList<Card> &cards, VXError *error)
{
    const Person person = cards.isEmpty() ? Person() : cards.constFirst().place.person();
    if (!person) // it was deleted just now: the next sync sees it
        return true;
    const auto isKept = [](const Card &card) { return !card.isLinked; };
    const auto keptCount = std::ranges::count_if(cards, isKept);
    for (const Card &card : cards) {
        if (isKept(card) && !takeOver(card, error))
            return false;
    }
    for (const Card &card : cards) {
        if (card.isLinked && keptCount > 0 && !unite(person, card.contact.contact, nullptr, error))
            return false;
    }
    for (const Card &card : cards) {
        if (isKept(card) && keptCount > 1 && !takeOverLists(card, error))
            return false;
    }
    for (const Card &card : cards) {
        VXContactPlace place = card.place;
        setPhone(place);
        if (card.wasKnown)
            bringBack(card);
        else
            place.note(card.contact.location, VXPhoneRecordOfPerson(person), card.contact.contact);
    }
    return true;
}

bool VXContactReconciler::takeOverLists(const Card &card, VXError *error)
{
    if (card.place.location().isEmpty())
        return true;
    const VXContactRecord news = VXMergeContacts(card.place.there(), card.contact.contact, {}, {}).contact;
    VXContactRecord lists;
    lists.numbers = news.numbers;
    lists.emails = news.emails;
    lists.urls = news.urls;
    lists.addresses = news.addresses;
    return unite(card.place.person(), lists, nullptr, error);
}

bool VXContactReconciler::takeOver(const Card &card, VXError *error)
{
    const VXContactPlace &place = card.place;
    if (place.location().isEmpty()) // what the phone has made of it was written by us
        return true;
    const Person person = place.person();
    const VXContactRecord here = VXRecordOfPerson(person);
    VXMergedContact merged = VXMergeContacts(place.there(), card.contact.contact, place.here(), here);
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

bool VXContactReconciler::applyAbsences(bool isAll, VXError *error)
{
    const auto isAbsent = [isAll](const Known &known) { return known.met < 0 && (isAll || known.isPending()); };
    const auto apply = [&](const Known &known, VXContactPlace place, VXError *why) {
        setPhone(place);
        return !isAbsent(known) || applyAbsence(place, why);
    };
    const auto concerns = [&](const Known &known) {
        return known.met < 0 && (isAbsent(known) || (!_phone.isEmpty() && known.phone != _phone));
    };
    return forKnown(knownThat(concerns), apply, error);
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
    const bool isChanged = person && !VXIsSameContact(place.here(), VXPhoneRecordOfPerson(person));
    if (isChanged && !isElsewhere) {
        _outcome.conflicts.append(
            VXPhonebookPluginString(u"%1 was deleted on the phone and changed here: it is kept."_s)
                .arg(nameOf(VXRecordOfPerson(person))));
        put(place);
        return true;
    }
    const bool goes = person && !isElsewhere;
    if (goes && !noteBefore(person, true, error))
        return false;
    removePlace(place);
    if (!goes)
        return true;
    _outcome.removed.append(nameOf(VXRecordOfPerson(person)));
    _slice->context.deleteObject(person);
    return true;
}

// -- To the phone

void VXContactReconciler::addChange(VXPhoneChange::Kind kind, const QString &name, const VXContactPlace &place,
                                    qsizetype contact)
{
    _outcome.changes.append({.kind = kind, .name = name, .contact = contact, .place = place.object()});
}

void VXContactReconciler::bringBack(const Card &card)
{
    VXContactPlace place = card.place;
    const VXContactRecord &there = card.contact.contact;
    const VXContactRecord here = VXPhoneRecordOfPerson(place.person());
    if (VXIsSameContact(VXContactWantedThere(place, here, there), there)) {
        place.forgetRefusal();
        return place.note(card.contact.location, here, there);
    }
    place.note(card.contact.location, place.here(), there); // until it is done
    addChange(VXPhoneChange::Kind::Change, nameOf(here), place, card.index);
}

void VXContactReconciler::put(VXContactPlace place)
{
    const VXContactRecord here = VXPhoneRecordOfPerson(place.person());
    place.note({}, here, here);
    addChange(VXPhoneChange::Kind::Put, nameOf(here), place);
}

// -- Here

bool VXContactReconciler::replace(const Person &person, const VXContactRecord &contact, VXError *error)
{
    const bool isNew = person->isInserted() || // by this sync, perhaps in another slice
                       (_changeSet && person->valueForKey(u"importNumber"_s).toLongLong() == _changeSet->number);
    if (!isNew) {
        if (!_noted.contains(person->objectID()))
            _outcome.changed.append(nameOf(contact));
        if (!noteBefore(person, false, error))
            return false;
    }
    _slice->writer.replace(person, contact);
    return true;
}

bool VXContactReconciler::noteBefore(const Person &person, bool isRemoved, VXError *error)
{
    if (!beginChangeSet(error))
        return false;
    if (_noted.contains(person->objectID()))
        return true;
    _noted.insert(person->objectID());
    VXContactHistory::note(_slice->context, *_changeSet, person, isRemoved, _deviceURL);
    return true;
}

VXContactPlace VXContactReconciler::makePlace(const Person &person)
{
    return VXContactPlace::make(_deviceURL, _phone, person, _slice->context);
}

void VXContactReconciler::removePlace(VXContactPlace &place)
{
    place.setPerson(nullptr);
    _slice->context.deleteObject(place.object());
}

// It may not have told before which it is.
void VXContactReconciler::setPhone(VXContactPlace &place) const
{
    if (!_phone.isEmpty())
        place.setPhone(_phone);
}

QList<VXContactPlace> VXContactReconciler::placesHere(const Person &person) const
{
    QList<VXContactPlace> places;
    for (const VXManagedObjectPtr &object : person->relatedObjects(placesIndex(person))) {
        const VXContactPlace place(object);
        const bool isMine = _phone.isEmpty() || place.phone().isEmpty() || place.phone() == _phone;
        if (isMine && object->valueForKey(u"device_url"_s).toString() == _deviceURL)
            places.append(place);
    }
    return places;
}

// On the phone. Where it is to be put again it lies already.
bool VXContactReconciler::hasOtherPlace(const Person &person)
{
    bool hasOther = false;
    for (VXContactPlace place : placesHere(person)) {
        if (_former.remove(place.object()->objectID()))
            removePlace(place);
        else
            hasOther = true;
    }
    return hasOther;
}

bool VXContactReconciler::beginChangeSet(VXError *error)
{
    if (_changeSet)
        return true;
    _changeSet = VXContactHistory::insert(_slice->context, u"sync"_s, _deviceName, error);
    if (!_changeSet)
        return false;
    _slice->writer.setChangeSet(_changeSet->number, _changeSet->date);
    return true;
}
