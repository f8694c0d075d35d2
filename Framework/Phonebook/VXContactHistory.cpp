#include "VXContactHistory.h"

#include "VXContactWriter.h"
#include "VXErrorDomain.h"
#include "VXFramework.h"
#include "VXManagedObjectContext.h"
#include "VXPhonebookEntry.h"
#include "VXStoreWorkLock.h"

#include <QtCore/QHash>
#include <QtCore/QSet>

#include <algorithm>

using namespace Qt::StringLiterals;

using Operator = VXPredicate::Operator;

namespace {

constexpr qsizetype mostChangeSets = 10;
constexpr qsizetype portion = 500; // contacts per save
// of one contact in a set, each dated a millisecond before the last; any other date is a change by somebody else
constexpr qint64 mostSaves = 100;

const QString setEntity = u"VXContactChangeSet"_s;
const QString changeEntity = u"VXContactChange"_s;
const QString numberKey = u"number"_s;
const QString changedDateKey = u"changedDate"_s;
const QString importNumberKey = u"importNumber"_s;
const QString identityKey = u"identity"_s; // of a removed person: what else refers to it
const QString placeEntity = u"VXContactPlace"_s;
const QString placesKey = u"places"_s;
const QString changesKey = u"changes"_s;
const QString agreedKey = u"agreed"_s; // of a person changed by a sync: its places on the phone as they were
const QString deviceKey = u"device_url"_s;
const QString locationKey = u"location"_s;
const QString phoneKey = u"phone"_s;
const QString personKey = u"person"_s;
const QString beforeKey = u"before"_s;
const QString uidKey = u"uid"_s;
const QStringList agreementKeys{u"here"_s, u"there"_s};
const QStringList placeKeys = agreementKeys + QStringList{deviceKey, locationKey, phoneKey};

VXFetchRequest requestFor(const VXManagedObjectContext &context, const QString &entity)
{
    return VXFetchRequest(*context.persistentStoreCoordinator()->model().entityForName(entity));
}

VXContactChangeSet changeSetOf(const VXManagedObject &object)
{
    return {.number = object.valueForKey(numberKey).toLongLong(),
            .kind = object.valueForKey(u"kind"_s).toString(),
            .title = object.valueForKey(u"title"_s).toString(),
            .date = object.valueForKey(u"date"_s).toDateTime()};
}

// Newest first.
std::optional<VXFetchResult> changeSets(VXManagedObjectContext &context, VXError *error)
{
    VXFetchRequest request = requestFor(context, setEntity);
    request.sortDescriptors = {{.key = numberKey, .isAscending = false}};
    return context.executeFetchRequest(request, error);
}

VXManagedObjectPtr objectOf(VXManagedObjectContext &context, qint64 number, VXError *error = nullptr)
{
    VXFetchRequest request = requestFor(context, setEntity);
    request.predicate = VXPredicate::comparison(numberKey, Operator::Equal, number);
    const std::optional<VXFetchResult> found = context.executeFetchRequest(request, error);
    return found ? found->first() : VXManagedObjectPtr();
}

QString nameOf(const VXManagedObject &person)
{
    const QString name = VXPhonebookEntry::displayString(person);
    return name.isEmpty() ? VXLocalizedString(u"(no name)"_s) : name;
}

bool isNoted(const VXManagedObject &person, const VXContactChangeSet &changeSet)
{
    if (person.valueForKey(u"importNumber"_s).toLongLong() == changeSet.number) // the person did not exist before
        return true;
    const QList<VXManagedObjectPtr> changes =
        person.relatedObjects(person.entity().propertyForName(u"changes"_s)->index());
    return std::ranges::any_of(changes, [&](const VXManagedObjectPtr &change) {
        const auto owner = change->valueForKey(u"changeSet"_s).value<VXManagedObjectPtr>();
        return owner && owner->valueForKey(numberKey).toLongLong() == changeSet.number;
    });
}

bool isUntouched(const VXManagedObject &person, const VXContactChangeSet &changeSet)
{
    const QDateTime date = person.valueForKey(changedDateKey).toDateTime();
    return date <= changeSet.date && date > changeSet.date.addMSecs(-mostSaves);
}

QList<VXManagedObjectPtr> relatedTo(const VXManagedObject &person, const QString &relationship)
{
    return person.relatedObjects(person.entity().propertyForName(relationship)->index());
}

QVariantMap placeMap(const VXManagedObjectPtr &place)
{
    QVariantMap map{{numberKey, place->objectID().number()}};
    for (const QString &key : placeKeys) {
        if (const QVariant value = place->valueForKey(key); value.isValid())
            map.insert(key, value);
    }
    return map;
}

// What else refers to a person that is removed, and has to refer to the one that is restored: its places on phones,
// changes of other imports and merges, and the set that added it.
QVariantMap identityOf(const VXManagedObject &person)
{
    QVariantList places;
    for (const VXManagedObjectPtr &place : relatedTo(person, placesKey))
        places.append(placeMap(place));
    QVariantList changes;
    for (const VXManagedObjectPtr &change : relatedTo(person, changesKey))
        changes.append(change->objectID().number());
    return {{placesKey, places},
            {changesKey, changes},
            {importNumberKey, person.valueForKey(importNumberKey).toLongLong()}};
}

// Places that were just made did not exist before, and are left out.
QVariantMap agreedOf(const VXManagedObject &person, const QString &deviceURL)
{
    QVariantList places;
    for (const VXManagedObjectPtr &place : relatedTo(person, placesKey)) {
        if (!place->isInserted())
            places.append(placeMap(place));
    }
    return {{deviceKey, deviceURL}, {placesKey, places}};
}

bool isOnPhone(const VXManagedObjectPtr &place, const QVariantMap &noted)
{
    const QString phone = noted.value(phoneKey).toString();
    const QString now = place->valueForKey(phoneKey).toString();
    return place->valueForKey(deviceKey) == noted.value(deviceKey) &&
           (phone.isEmpty() || now.isEmpty() || phone == now);
}

// Finds the recorded place by its location rather than its number, since copying a store object by object changes
// numbers.
VXManagedObjectPtr placeNoted(const QVariantMap &noted, const QList<VXManagedObjectPtr> &places)
{
    VXManagedObjectPtr best;
    int most = 0;
    for (const VXManagedObjectPtr &place : places) {
        const bool isThere = place->valueForKey(locationKey).toString() == noted.value(locationKey).toString();
        const bool isNumbered = place->objectID().number() == noted.value(numberKey).toLongLong();
        const int like = (isThere ? 2 : 0) + (isNumbered ? 1 : 0);
        if (like <= most || !isOnPhone(place, noted))
            continue;
        best = place;
        most = like;
    }
    return best;
}

// Restores the places that a sync has changed along with the person, so that the next sync sees again what was changed
// on the phone: what both sides had agreed on is undone only here, and must not count as a change by the user.
void restorePlaces(const VXManagedObjectPtr &person, const QVariantMap &agreed)
{
    const QString device = agreed.value(deviceKey).toString();
    QList<VXManagedObjectPtr> places = device.isEmpty() ? QList<VXManagedObjectPtr>() : relatedTo(*person, placesKey);
    places.removeIf([&](const auto &place) { return place->valueForKey(deviceKey).toString() != device; });
    for (const QVariant &value : agreed.value(placesKey).toList()) {
        const QVariantMap noted = value.toMap();
        const VXManagedObjectPtr place = placeNoted(noted, places);
        if (!place)
            continue;
        places.removeOne(place);
        for (const QString &key : agreementKeys)
            place->setValueForKey(noted.value(key), key);
    }
    for (const VXManagedObjectPtr &place : std::as_const(places)) // those that the sync has made
        person->managedObjectContext()->deleteObject(place);
}

/** Restores for persons who are brought back what else referred to them, unless somebody else has taken that since. */
class IdentityGiver
{
public:
    /** Reads the changes of a set. False, with an error, when the store cannot be read. */
    bool prepare(VXManagedObjectContext &context, const VXFetchResult &changes, VXError *error)
    {
        QVariantList locations;
        bool hasPlaces = false;
        bool hasChanges = false;
        for (const VXManagedObjectPtr &change : changes) {
            if (change->valueForKey(personKey).value<VXManagedObjectPtr>())
                continue;
            const QVariantMap identity = change->valueForKey(beforeKey).toMap().value(identityKey).toMap();
            for (const QVariant &value : identity.value(placesKey).toList()) {
                hasPlaces = true;
                if (const QString location = value.toMap().value(locationKey).toString(); !location.isEmpty())
                    locations.append(location);
            }
            hasChanges = hasChanges || !identity.value(changesKey).toList().isEmpty();
        }
        for (const VXManagedObjectPtr &change : changes) {
            const auto kept = change->valueForKey(personKey).value<VXManagedObjectPtr>();
            if (hasPlaces && kept)
                addPlacesOf(kept);
        }
        return (locations.isEmpty() || readFreePlaces(context, locations, error)) &&
               (!hasChanges || readFreeChanges(context, error));
    }

    // If a sync has removed the person from its phone meanwhile, the next one puts it there again; if a merge gave its
    // place to the person that was kept, it gets the place back.
    void give(const VXManagedObjectPtr &person, const QVariantMap &identity)
    {
        for (const QVariant &value : identity.value(placesKey).toList())
            givePlace(person, value.toMap());
        if (!identity.value(changesKey).toList().isEmpty()) {
            for (const VXManagedObjectPtr &change : _freeChanges.take(person->valueForKey(uidKey).toString()))
                change->setValueForKey(QVariant::fromValue(person), personKey);
        }
        if (const qint64 number = identity.value(importNumberKey).toLongLong(); number != 0)
            person->setValueForKey(number, importNumberKey);
    }

private:
    void addPlacesOf(const VXManagedObjectPtr &kept)
    {
        for (const VXManagedObjectPtr &place : relatedTo(*kept, placesKey))
            _places[place->valueForKey(locationKey).toString()].append(place);
    }

    bool readFreePlaces(VXManagedObjectContext &context, const QVariantList &locations, VXError *error)
    {
        VXFetchRequest request = requestFor(context, placeEntity);
        request.predicate = VXPredicate::comparison(locationKey, Operator::In, locations);
        const std::optional<VXFetchResult> found = context.executeFetchRequest(request, error);
        if (!found)
            return false;
        for (const VXManagedObjectPtr &place : *found) {
            if (!place->valueForKey(personKey).value<VXManagedObjectPtr>())
                _places[place->valueForKey(locationKey).toString()].append(place);
        }
        return true;
    }

    // Reads the changes by other sets of persons who no longer exist, by UID.
    bool readFreeChanges(VXManagedObjectContext &context, VXError *error)
    {
        VXFetchRequest request = requestFor(context, changeEntity);
        request.predicate = *VXPredicate::predicateWithFormat(u"person == NULL"_s);
        const std::optional<VXFetchResult> found = context.executeFetchRequest(request, error);
        if (!found)
            return false;
        for (const VXManagedObjectPtr &change : *found) {
            const QVariantMap before = change->valueForKey(beforeKey).toMap();
            if (!before.contains(identityKey)) // otherwise it records the removal of the person
                _freeChanges[before.value(uidKey).toString()].append(change);
        }
        return true;
    }

    void givePlace(const VXManagedObjectPtr &person, const QVariantMap &noted)
    {
        QList<VXManagedObjectPtr> places = _places.value(noted.value(locationKey).toString());
        places.removeIf([this](const VXManagedObjectPtr &each) { return _given.contains(each); });
        VXManagedObjectPtr place = placeNoted(noted, places);
        if (!place) {
            place = person->managedObjectContext()->insertNewObject(placeEntity);
            for (const QString &key : placeKeys)
                place->setValueForKey(noted.value(key), key);
            place->setValueForKey({}, locationKey);
        }
        place->setValueForKey(QVariant::fromValue(person), personKey);
        _given.insert(place);
    }

    // by location: places that are free, or belong to persons that the set has changed
    QHash<QString, QList<VXManagedObjectPtr>> _places;
    QSet<VXManagedObjectPtr> _given;
    QHash<QString, QList<VXManagedObjectPtr>> _freeChanges;
};

} // namespace

std::optional<VXContactChangeSet> VXContactHistory::insert(VXManagedObjectContext &context, const QString &kind,
                                                           const QString &title, VXError *error)
{
    const std::optional<VXFetchResult> old = changeSets(context, error);
    if (!old)
        return std::nullopt;
    for (qsizetype index = mostChangeSets - 1; index < old->size(); ++index)
        context.deleteObject(old->at(index));
    const QDateTime date = QDateTime::currentDateTimeUtc();
    qint64 number = date.toMSecsSinceEpoch(); // so that two processes do not choose the same number
    if (!old->isEmpty())
        number = std::max(number, changeSetOf(*old->first()).number + 1);
    const VXContactChangeSet changeSet{number, kind, title, date};
    const VXManagedObjectPtr object = context.insertNewObject(setEntity);
    object->setValueForKey(number, numberKey);
    object->setValueForKey(kind, u"kind"_s);
    object->setValueForKey(title, u"title"_s);
    object->setValueForKey(date, u"date"_s);
    return changeSet;
}

void VXContactHistory::note(VXManagedObjectContext &context, const VXContactChangeSet &changeSet,
                            const VXManagedObjectPtr &person, bool isRemoved, const QString &deviceURL)
{
    if (!isRemoved && isNoted(*person, changeSet))
        return;
    const VXManagedObjectPtr change = context.insertNewObject(changeEntity);
    QVariantMap before = VXContactRecord(QVariant::fromValue(person)).map();
    before.insert(changedDateKey, person->valueForKey(changedDateKey));
    if (isRemoved)
        before.insert(identityKey, identityOf(*person));
    if (!isRemoved && !deviceURL.isEmpty())
        before.insert(agreedKey, agreedOf(*person, deviceURL));
    change->setValueForKey(before, beforeKey);
    if (const VXManagedObjectPtr owner = objectOf(context, changeSet.number))
        change->setValueForKey(QVariant::fromValue(owner), u"changeSet"_s);
    if (!isRemoved)
        change->setValueForKey(QVariant::fromValue(person), personKey);
}

QDateTime VXContactHistory::dateOfChange(const QDateTime &changeSet, const QDateTime &before)
{
    const bool isAgain = before <= changeSet && before > changeSet.addMSecs(1 - mostSaves);
    return isAgain ? before.addMSecs(-1) : changeSet;
}

bool VXContactHistory::forget(const VXContactChangeSet &changeSet, VXError *error) const
{
    const VXStoreWorkLock saving(*_coordinator, VXStoreWorkLock::savingName);
    VXManagedObjectContext context(_coordinator);
    const VXManagedObjectPtr object = saving.isHeld(error) ? objectOf(context, changeSet.number, error) : nullptr;
    if (!object)
        return false;
    context.deleteObject(object);
    return context.save(error);
}

std::optional<VXContactChangeSet> VXContactHistory::last(VXError *error) const
{
    VXManagedObjectContext context(_coordinator);
    const std::optional<VXFetchResult> all = changeSets(context, error);
    return all && !all->isEmpty() ? std::optional(changeSetOf(*all->first())) : std::nullopt;
}

std::optional<VXContactUndo> VXContactHistory::undoLast(bool isDryRun, VXError *error) const
{
    std::optional<VXStoreWorkLock> lock;
    if (!isDryRun && !lock.emplace(*_coordinator, VXStoreWorkLock::syncName).isHeld(error))
        return std::nullopt;
    VXError problem;
    const std::optional<VXContactChangeSet> changeSet = last(&problem);
    if (!changeSet) {
        VXSetError(error, problem ? problem
                                  : VXMakeError(VXLocalizedString(
                                        u"There is no import or merge of contacts that could be undone."_s)));
        return std::nullopt;
    }
    VXContactUndo undo{.changeSet = *changeSet};
    if (!undoChanges(undo, isDryRun, error) || !removeMade(undo, isDryRun, error))
        return std::nullopt;
    const bool isDone = isDryRun || (removeEmptyGroups(error) && forget(*changeSet, error));
    return isDone ? std::optional(undo) : std::nullopt;
}

namespace {

// Then no sync would bring the person back.
bool isOnNoPhone(const VXManagedObject &person)
{
    return std::ranges::all_of(relatedTo(person, placesKey), [](const VXManagedObjectPtr &place) {
        return place->valueForKey(locationKey).toString().isEmpty();
    });
}

} // namespace

// Each change record is removed along with what it undoes.
bool VXContactHistory::undoChanges(VXContactUndo &undo, bool isDryRun, VXError *error) const
{
    std::optional<VXStoreWorkLock> saving;
    if (!isDryRun && !saving.emplace(*_coordinator, VXStoreWorkLock::savingName).isHeld(error))
        return false;
    VXManagedObjectContext context(_coordinator);
    VXFetchRequest request = requestFor(context, changeEntity);
    request.predicate = VXPredicate::comparison(u"changeSet.number"_s, Operator::Equal, undo.changeSet.number);
    const std::optional<VXFetchResult> changes = context.executeFetchRequest(request, error);
    IdentityGiver identities;
    if (!changes || (!isDryRun && !identities.prepare(context, *changes, error)))
        return false;
    VXContactWriter writer(context);
    for (const VXManagedObjectPtr &change : *changes) {
        const QVariantMap values = change->valueForKey(beforeKey).toMap();
        const VXContactRecord before(values);
        const auto person = change->valueForKey(personKey).value<VXManagedObjectPtr>();
        const bool isLeft = person && !isUntouched(*person, undo.changeSet);
        if (isLeft)
            undo.left.append(nameOf(*person));
        else
            ++(person ? undo.restored : undo.broughtBack);
        if (isDryRun)
            continue;
        const VXManagedObjectPtr restored = person ? person : writer.insert(before);
        if (!person)
            identities.give(restored, values.value(identityKey).toMap());
        if (person && !isLeft) {
            writer.replace(person, before);
            restorePlaces(person, values.value(agreedKey).toMap());
        }
        if (!isLeft) // so that the change set before this one can be undone, too
            restored->setValueForKey(values.value(changedDateKey), changedDateKey);
        context.deleteObject(change);
    }
    return isDryRun || changes->isEmpty() || context.save(error);
}

bool VXContactHistory::removeMade(VXContactUndo &undo, bool isDryRun, VXError *error) const
{
    while (true) {
        std::optional<VXStoreWorkLock> saving;
        if (!isDryRun && !saving.emplace(*_coordinator, VXStoreWorkLock::savingName).isHeld(error))
            return false;
        VXManagedObjectContext context(_coordinator);
        VXFetchRequest request = requestFor(context, u"VXPerson"_s);
        request.predicate = VXPredicate::comparison(u"importNumber"_s, Operator::Equal, undo.changeSet.number);
        if (!isDryRun) {
            request.limit = portion;
            request.prefetchedRelationships = {u"numbers"_s, u"emails"_s, u"urls"_s,  u"addresses"_s,
                                               u"words"_s,   u"groups"_s, u"places"_s};
        } else {
            request.batchSize = portion;
        }
        const std::optional<VXFetchResult> persons = context.executeFetchRequest(request, error);
        if (!persons)
            return false;
        for (const VXManagedObjectPtr &person : *persons) {
            const bool isLeft = !isUntouched(*person, undo.changeSet);
            const bool isKept = !isLeft && undo.changeSet.kind == "sync"_L1 && isOnNoPhone(*person);
            if (isLeft)
                undo.left.append(nameOf(*person));
            else if (isKept)
                undo.kept.append(nameOf(*person));
            else
                ++undo.removed;
            if (isDryRun)
                continue;
            if (isLeft || isKept) {
                person->setValueForKey({}, u"importNumber"_s); // it belongs to the user now
                continue;
            }
            // It stays on its phone: nobody deleted it there, and the next sync brings it back.
            const int places = person->entity().propertyForName(u"places"_s)->index();
            for (const VXManagedObjectPtr &place : person->relatedObjects(places))
                context.deleteObject(place);
            context.deleteObject(person);
        }
        if (isDryRun || persons->isEmpty())
            return true;
        if (!context.save(error))
            return false;
    }
}

// A group without members was made by an import and emptied by undoing it.
bool VXContactHistory::removeEmptyGroups(VXError *error) const
{
    const VXStoreWorkLock saving(*_coordinator, VXStoreWorkLock::savingName);
    if (!saving.isHeld(error))
        return false;
    VXManagedObjectContext context(_coordinator);
    VXFetchRequest request = requestFor(context, u"VXGroup"_s);
    request.predicate = *VXPredicate::predicateWithFormat(u"members.@count == 0"_s);
    const std::optional<VXFetchResult> groups = context.executeFetchRequest(request, error);
    if (!groups)
        return false;
    for (const VXManagedObjectPtr &group : *groups)
        context.deleteObject(group);
    return !context.hasChanges() || context.save(error);
}
