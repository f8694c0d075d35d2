#include "VXContactReconciler.h"

#include "VXCoreDataSaveError.h"
#include "VXErrorDomain.h"
#include "VXPhonebookPluginString.h"
#include "VXStoreWorkLock.h"

#include <QtCore/QMap>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype sliceSize = 500;                // contacts of one save: others who change one wait for it
constexpr std::chrono::seconds longestUnsecured{1}; // what a power cut may undo while slices are saved
const QStringList contactRelationships{u"numbers"_s, u"emails"_s, u"urls"_s, u"addresses"_s, u"groups"_s, u"places"_s};

VXFetchRequest requestFor(const VXPersistentStoreCoordinator &coordinator, const QString &entity,
                          const QVariantList &objectIDs)
{
    VXFetchRequest request(*coordinator.model().entityForName(entity));
    request.predicate =
        VXPredicate::comparison(VXExpression::self(), VXPredicate::Operator::In, VXExpression::constant(objectIDs));
    return request;
}

} // namespace

VXContactReconciler::Slice::Slice(const VXPersistentStoreCoordinator::Ptr &coordinator)
    : context(coordinator), writer(context)
{
    context.setMergePolicy(VXMergePolicy::MergeByPropertyObjectTrumps);
    context.setSecuresLater(true);
}

VXContactReconciler::VXContactReconciler(const VXPersistentStoreCoordinator::Ptr &coordinator, const QString &deviceURL,
                                         const QString &deviceName, const std::function<bool()> &isOver)
    : _coordinator(coordinator), _deviceURL(deviceURL), _deviceName(deviceName), _isOver(isOver),
      _contacts(std::make_shared<VXPhoneContacts>())
{
}

VXContactReconciler::~VXContactReconciler() = default;

bool VXContactReconciler::begin(VXError *error)
{
    VXManagedObjectContext context(_coordinator);
    VXFetchRequest request(*_coordinator->model().entityForName(VXContactPlace::entityName));
    request.predicate = *VXPredicate::predicateWithFormat(u"device_url == %@"_s, {_deviceURL});
    request.batchSize = sliceSize;
    const std::optional<VXFetchResult> found = context.executeFetchRequest(request, error);
    if (!found)
        return false;
    for (const VXManagedObjectPtr &place : *found)
        _places.add(VXContactPlace(place));
    _isPhoneKnown = !_places.known().isEmpty();
    _unsecured.setRemainingTime(longestUnsecured);
    return true;
}

bool VXContactReconciler::take(const VXPhonePortion &portion, VXError *error)
{
    if (!_contacts->add(portion, error))
        return false;
    if (_isPhoneKnown) // which of them each is, all together show
        return true;
    _phone = portion.phone;
    QList<Link> links;
    while (_linkedCount < _contacts->size())
        links.append(Link{.contact = _linkedCount++});
    return linkInSlices(links, error);
}

bool VXContactReconciler::run(const QString &phone, bool isAll, VXError *error)
{
    return reconcile(phone, isAll, error) && secure(error);
}

bool VXContactReconciler::secure(VXError *error)
{
    _unsecured.setRemainingTime(longestUnsecured);
    return _coordinator->secureSaves(error);
}

bool VXContactReconciler::reconcile(const QString &phone, bool isAll, VXError *error)
{
    const bool isToldLate = std::exchange(_phone, phone) != phone;
    if (isToldLate && !tellPhone(error))
        return false;
    const bool isNew = _isNewPhone && isAll; // else it might be given twice what was not read
    if (!choosePlaces(error) || (isNew && !forgetPlaces(error)))
        return false;
    _places.match(*_contacts, _linkedCount);
    if (!_acceptsDeletions)
        _outcome.question = questionAbout(isAll);
    if (!_outcome.question.isNull())
        return true;
    // First all that comes from the phone: a person may lie on it twice.
    const bool isDone = linkAll(error) && keepAll(error) && settleLate(error) && applyAbsences(isAll, error) &&
                        putFormer(error) && (!_addsAll || addAll(error));
    std::stable_partition(_outcome.changes.begin(), _outcome.changes.end(),
                          [](const VXPhoneChange &change) { return change.kind == VXPhoneChange::Kind::Delete; });
    return isDone;
}

bool VXContactReconciler::choosePlaces(VXError *error)
{
    const QStringList phones = _places.phones();
    _outcome.isOtherPhone = !_phone.isEmpty() && !phones.isEmpty() && !phones.contains(_phone);
    if (_phone.isEmpty() && phones.size() > 1) {
        VXSetError(error, VXMakeError(VXPhonebookPluginString(
                              u"Of several phones that were here the phone does not tell which it is."_s)));
        return false;
    }
    if (!_isNewPhone)
        _places.keepOnly(_phone);
    return true;
}

// A phone that was reset, that another card was put into, or that does not answer as it should, has not deleted its contacts; and a
// store that lost them has not either.
QString VXContactReconciler::questionAbout(bool isAll) const
{
    struct Count
    {
        int all = 0;
        int gone = 0;
        int deletedHere = 0;
    };
    QMap<QString, Count> counts; // by memory
    for (const Known &known : _places.known()) {
        if (known.isPending())
            continue;
        Count &count = counts[known.memory];
        ++count.all;
        if (known.person.isNull())
            ++count.deletedHere;
        else if (known.met < 0)
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

// -- Slice by slice

bool VXContactReconciler::perform(const Work &work, VXError *error)
{
    const Outcome before = _outcome;
    VXError failure;
    bool isDone = false;
    if (_isOver()) {
        failure = VXError(VXErrorDomain, VXErrorCancelled);
    } else {
        const VXStoreWorkLock saving(*_coordinator, VXStoreWorkLock::savingName);
        _slice = std::make_unique<Slice>(_coordinator);
        if (_changeSet)
            _slice->writer.setChangeSet(_changeSet->number, _changeSet->date);
        isDone = saving.isHeld(&failure) && work(&failure) && wasAllRead(&failure) &&
                 (!_slice->context.hasChanges() || _slice->context.save(&failure));
        if (!isDone)
            VXLogCoreDataSaveError(failure);
    }
    if (isDone) {
        noteIDs(before.changes.size());
    } else {
        _outcome = before;
        VXSetError(error, failure);
    }
    _slice.reset();
    return isDone && (!_unsecured.hasExpired() || secure(error));
}

// Else what seemed to be gone may be there.
bool VXContactReconciler::wasAllRead(VXError *error) const
{
    const VXError &failed = _slice->context.failedRead();
    if (failed)
        VXSetError(error, failed);
    return !failed;
}

// Which they have only once they are saved.
void VXContactReconciler::noteIDs(qsizetype firstChange)
{
    for (qsizetype index = firstChange; index < _outcome.changes.size(); ++index) {
        VXPhoneChange &change = _outcome.changes[index];
        change.placeID = std::exchange(change.place, {})->objectID();
    }
    for (auto &[place, linked] : _slice->linked) {
        linked.place = place.object()->objectID();
        linked.person = place.person()->objectID();
        _linked.append(linked);
    }
    for (const Person &person : std::as_const(_slice->late))
        _late.insert(person->objectID());
}

bool VXContactReconciler::inSlices(qsizetype count, const SliceWork &work, VXError *error)
{
    for (qsizetype start = 0; start < count; start += sliceSize) {
        const qsizetype end = std::min(start + sliceSize, count);
        if (!perform([&](VXError *why) { return work(start, end, why); }, error))
            return false;
    }
    return true;
}

// With all that is asked of them, which is held until the slice is saved.
bool VXContactReconciler::readPlaces(const QVariantList &places, const QVariantList &persons, VXError *error)
{
    if (!places.isEmpty())
        _slice->places =
            _slice->context.executeFetchRequest(requestFor(*_coordinator, VXContactPlace::entityName, places), error);
    if (!persons.isEmpty()) {
        VXFetchRequest request = requestFor(*_coordinator, u"VXPerson"_s, persons);
        request.prefetchedRelationships = contactRelationships;
        _slice->persons = _slice->context.executeFetchRequest(request, error);
    }
    return (places.isEmpty() || _slice->places) && (persons.isEmpty() || _slice->persons);
}

bool VXContactReconciler::forKnown(const QList<qsizetype> &known, const KnownWork &work, VXError *error)
{
    const auto slice = [&](qsizetype start, qsizetype end, VXError *why) {
        const QList<qsizetype> some = known.sliced(start, end - start);
        QVariantList places;
        QVariantList persons;
        for (const qsizetype index : some) {
            const Known &each = _places.known()[index];
            places.append(QVariant::fromValue(each.place));
            if (!each.person.isNull())
                persons.append(QVariant::fromValue(each.person));
        }
        return readPlaces(places, persons, why) && std::ranges::all_of(some, [&](qsizetype index) {
                   const Known &each = _places.known()[index];
                   const VXContactPlace place(_slice->context.existingObjectWithID(each.place));
                   return !place.object() || work(each, place, why);
               });
    };
    return inSlices(known.size(), slice, error);
}

QList<qsizetype> VXContactReconciler::knownThat(const std::function<bool(const Known &known)> &test) const
{
    QList<qsizetype> found;
    for (qsizetype index = 0; index < _places.known().size(); ++index) {
        if (test(_places.known()[index]))
            found.append(index);
    }
    return found;
}

// -- What a phone is to have besides

// What the phone had is to be put there, one place for each person, unless it lies there: also when this is broken off.
bool VXContactReconciler::forgetPlaces(VXError *error)
{
    QSet<VXManagedObjectID> persons;
    const auto forget = [&](const Known &, VXContactPlace place, VXError *) {
        const Person person = place.person();
        if (!person || persons.contains(person->objectID())) {
            removePlace(place);
            return true;
        }
        persons.insert(person->objectID());
        _former.insert(place.object()->objectID());
        const VXContactRecord here = VXPhoneRecordOfPerson(person);
        place.note({}, here, here);
        place.setPhone(_phone);
        place.forgetRefusal();
        return true;
    };
    const bool isDone = forKnown(knownThat([](const Known &) { return true; }), forget, error);
    _places.clear();
    return isDone;
}

bool VXContactReconciler::putFormer(VXError *error)
{
    const QList<VXManagedObjectID> former = _former.values();
    const auto slice = [&](qsizetype start, qsizetype end, VXError *) {
        for (qsizetype index = start; index < end; ++index) {
            const VXContactPlace place(_slice->context.existingObjectWithID(former[index]));
            if (place.object() && place.person())
                put(place);
        }
        return true;
    };
    return inSlices(former.size(), slice, error);
}

bool VXContactReconciler::addAll(VXError *error)
{
    QVariantList persons;
    {
        VXManagedObjectContext context(_coordinator);
        VXFetchRequest request(*_coordinator->model().entityForName(u"VXPerson"_s));
        request.includesPropertyValues = false;
        request.batchSize = sliceSize;
        const std::optional<VXFetchResult> found = context.executeFetchRequest(request, error);
        if (!found)
            return false;
        for (const Person &person : *found)
            persons.append(QVariant::fromValue(person->objectID()));
    }
    const auto slice = [&](qsizetype start, qsizetype end, VXError *why) {
        if (!readPlaces({}, persons.sliced(start, end - start), why))
            return false;
        for (const Person &person : *_slice->persons) {
            const bool isOurs = !person->valueForKey(u"url_string"_s).isValid(); // and not supplied by a plugin
            if (isOurs && placesHere(person).isEmpty() && !VXRecordOfPerson(person).displayName().isEmpty())
                put(makePlace(person));
        }
        return true;
    };
    return inSlices(persons.size(), slice, error);
}
