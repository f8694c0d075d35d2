#include "VXContactDuplicates.h"

#include "VXContactHistory.h"
#include "VXContactMatch.h"
#include "VXContactWriter.h"
#include "VXErrorDomain.h"
#include "VXFramework.h"
#include "VXManagedObjectContext.h"
#include "VXPhonebookEntry.h"
#include "VXStoreWorkLock.h"

#include <QtCore/QHash>
#include <QtCore/QMap>
#include <QtCore/QSet>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype batchSize = 500;
constexpr qsizetype mostSharers = 50; // of one number; more contacts than that share the number of a house

/** Contacts by the number or address that they share. */
using Sharers = QHash<QString, QSet<VXManagedObjectID>>;

bool readSharers(VXManagedObjectContext &context, const QString &entity, Sharers *sharers, VXError *error)
{
    VXFetchRequest request(*context.persistentStoreCoordinator()->model().entityForName(entity));
    request.batchSize = batchSize;
    const std::optional<VXFetchResult> all = context.executeFetchRequest(request, error);
    if (!all)
        return false;
    const int person = request.entity().propertyForName(u"person"_s)->index();
    const int search = request.entity().propertyForName(u"search"_s)->index();
    for (const VXManagedObjectPtr &each : *all) {
        const QString text = each->attribute(search).toString();
        if (const VXManagedObjectPtr owner = each->related(person); owner && !text.isEmpty())
            (*sharers)[text].insert(owner->objectID());
    }
    return true;
}

/** Sets of contacts that are the same person, merged step by step. */
class Circles
{
public:
    void join(const VXManagedObjectID &a, const VXManagedObjectID &b, const QString &shared)
    {
        const VXManagedObjectID first = head(a);
        const VXManagedObjectID second = head(b);
        if (first != second) {
            _next.insert(second, first);
            _members[first] += _members.take(second) << second;
            _shared[first] += _shared.take(second);
        }
        _shared[first].insert(shared);
    }

    const QHash<VXManagedObjectID, QList<VXManagedObjectID>> &members() const { return _members; }
    QStringList shared(const VXManagedObjectID &head) const
    {
        QStringList list = _shared.value(head).values();
        list.sort();
        return list;
    }

private:
    VXManagedObjectID head(VXManagedObjectID of) const
    {
        for (auto next = _next.constFind(of); next != _next.constEnd(); next = _next.constFind(of))
            of = *next;
        return of;
    }

    QHash<VXManagedObjectID, VXManagedObjectID> _next;
    QHash<VXManagedObjectID, QList<VXManagedObjectID>> _members; // by the head, which is not included
    QHash<VXManagedObjectID, QSet<QString>> _shared;
};

QString nameKeyOf(const VXManagedObjectPtr &person)
{
    VXContactRecord name;
    const auto text = [&](const QString &key) { return person->valueForKey(key).toString(); };
    name.firstName = text(u"firstName"_s);
    name.middleName = text(u"middleName"_s);
    name.lastName = text(u"lastName"_s);
    name.nickname = text(u"nickname"_s);
    name.company = text(u"company"_s);
    return VXContactNameKey(name);
}

VXDuplicateContacts describe(VXManagedObjectContext &context, QList<VXManagedObjectID> persons,
                             const QStringList &shared)
{
    const auto known = [&](const VXManagedObjectID &each) {
        return VXPhonebookEntry::informativeValue(*context.objectWithID(each));
    };
    std::ranges::sort(persons, {}, [](const VXManagedObjectID &each) { return each.number(); });
    std::ranges::stable_sort(persons, std::ranges::greater(), known);
    VXDuplicateContacts made{.persons = persons, .contacts = {}, .merged = {}, .shared = shared};
    for (const VXManagedObjectID &each : std::as_const(persons))
        made.contacts.append(VXContactRecord(QVariant::fromValue(context.objectWithID(each))));
    made.merged = made.contacts.constFirst();
    for (const VXContactRecord &each : std::as_const(made.contacts))
        made.merged = VXUnitedContact(made.merged, each, VXContactPrecedence::Equals);
    return made;
}

QList<VXManagedObjectPtr> placesOf(const VXManagedObjectPtr &person)
{
    return person->relatedObjects(person->entity().propertyForName(u"places"_s)->index());
}

// Moves places on phones where the other contact has none: the next sync then writes to these phones what the merge has
// added.
void givePlaces(const VXManagedObjectPtr &from, const VXManagedObjectPtr &to)
{
    const auto phoneOf = [](const VXManagedObjectPtr &place) {
        return std::pair(place->valueForKey(u"device_url"_s), place->valueForKey(u"phone"_s));
    };
    for (const VXManagedObjectPtr &place : placesOf(from)) {
        const QList<VXManagedObjectPtr> known = placesOf(to);
        if (std::ranges::none_of(known, [&](const auto &each) { return phoneOf(each) == phoneOf(place); }))
            place->setValueForKey(QVariant::fromValue(to), u"person"_s);
    }
}

bool areAllThere(VXManagedObjectContext &context, const QList<VXManagedObjectID> &persons)
{
    return std::ranges::all_of(
        persons, [&](const VXManagedObjectID &person) { return bool(context.existingObjectWithID(person)); });
}

} // namespace

std::optional<QList<VXDuplicateContacts>> VXContactDuplicates::find(VXError *error) const
{
    VXManagedObjectContext context(_coordinator);
    Sharers sharers;
    if (!readSharers(context, u"VXPhoneNumber"_s, &sharers, error) ||
        !readSharers(context, u"VXEmailAddress"_s, &sharers, error))
        return std::nullopt;
    Circles circles;
    for (auto each = sharers.cbegin(); each != sharers.cend(); ++each) {
        if (each->size() < 2 || each->size() > mostSharers)
            continue;
        QHash<QString, VXManagedObjectID> byName;
        for (const VXManagedObjectID &person : *each) {
            const QString name = nameKeyOf(context.objectWithID(person));
            if (name.isEmpty())
                continue;
            if (const auto same = byName.constFind(name); same != byName.constEnd())
                circles.join(*same, person, each.key());
            else
                byName.insert(name, person);
        }
    }
    QList<VXDuplicateContacts> found;
    for (auto each = circles.members().cbegin(); each != circles.members().cend(); ++each)
        found.append(describe(context, *each + QList{each.key()}, circles.shared(each.key())));
    std::ranges::sort(found, {}, [](const VXDuplicateContacts &each) { return each.persons.constFirst().number(); });
    return found;
}

VXDuplicateContacts VXContactDuplicates::some(const VXDuplicateContacts &duplicates,
                                              const QList<VXManagedObjectID> &persons) const
{
    VXManagedObjectContext context(_coordinator);
    return describe(context, persons, duplicates.shared);
}

bool VXContactDuplicates::merge(const QList<VXDuplicateContacts> &duplicates, VXError *error) const
{
    if (duplicates.isEmpty())
        return true;
    const VXStoreWorkLock lock(*_coordinator, VXStoreWorkLock::syncName);
    if (!lock.isHeld(error))
        return false;
    const VXStoreWorkLock saving(*_coordinator, VXStoreWorkLock::savingName);
    if (!saving.isHeld(error))
        return false;
    VXManagedObjectContext context(_coordinator);
    const std::optional<VXContactChangeSet> changeSet = VXContactHistory::insert(context, u"merge"_s, {}, error);
    if (!changeSet)
        return false;
    VXContactWriter writer(context);
    writer.setChangeSet(changeSet->number, changeSet->date);
    for (const VXDuplicateContacts &each : duplicates) {
        if (!areAllThere(context, each.persons)) {
            VXSetError(error, VXMakeError(VXLocalizedString(u"One of the contacts is gone meanwhile."_s)));
            return false;
        }
        const VXDuplicateContacts now = describe(context, each.persons, each.shared);
        const VXManagedObjectPtr kept = context.objectWithID(now.persons.constFirst());
        VXContactHistory::note(context, *changeSet, kept, false);
        writer.replace(kept, now.merged);
        for (const VXManagedObjectID &person : now.persons.sliced(1)) {
            const VXManagedObjectPtr other = context.objectWithID(person);
            VXContactHistory::note(context, *changeSet, other, true);
            givePlaces(other, kept);
            context.deleteObject(other);
        }
    }
    return context.save(error);
}
