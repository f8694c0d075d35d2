#include "VXSourceComparison.h"

#include "VXErrorDomain.h"
#include "VXFramework.h"
#include "VXManagedObjectContext.h"
#include "VXStoreMigration.h"
#include "VXValueIdentity.h"

#include <QtCore/QSet>

#include <algorithm>
#include <iterator>
#include <tuple>

using namespace Qt::StringLiterals;

using ObjectID = VXManagedObjectID;

namespace {

constexpr qsizetype batchSize = 1000;

VXError difference(const QString &what)
{
    return VXMakeError(VXLocalizedString(u"The copy is not what the old store holds"_s), "%s", qUtf8Printable(what));
}

VXError differs(const VXPropertyDescription &old, const ObjectID &oldID)
{
    return difference(
        VXLocalizedString(u"\"%1\" of %2 differs."_s).arg(old.name(), oldID.uriRepresentation().toString()));
}

// Only one end of a relationship and its inverse is compared: the to-one end.
bool isToldByInverse(const VXRelationshipDescription &old, const VXRelationshipDescription &made)
{
    const VXRelationshipDescription *const oldInverse = old.inverse();
    const VXRelationshipDescription *const madeInverse = made.inverse();
    return oldInverse != nullptr && madeInverse != nullptr && !oldInverse->isToMany() && !madeInverse->isToMany() &&
           !oldInverse->isTransient() && oldInverse->name() == madeInverse->name();
}

} // namespace

VXSourceComparison::VXSourceComparison(VXStoreMigration &run, const VXManagedObjectContext &made, const Filter &filter)
    : _run(run), _made(made), _filter(filter)
{
}

VXError VXSourceComparison::compare(VXManagedObjectContext &source)
{
    QList<ObjectID> oldIDs;
    oldIDs.reserve(_run.newObjects().size());
    std::copy_if(_run.newObjects().keyBegin(), _run.newObjects().keyEnd(), std::back_inserter(oldIDs),
                 [this](const ObjectID &oldID) { return !_run.isRepaired(oldID); });
    if (const auto others = std::ranges::count(oldIDs, static_cast<const VXStoreIdentity *>(nullptr), &ObjectID::store);
        others > 0)
        return difference(VXLocalizedString(u"%1 objects are of no old store."_s).arg(others));
    _run.begin(VXStoreMigration::Phase::Comparing, oldIDs.size());
    std::ranges::sort(oldIDs, {}, [](const ObjectID &each) { // the order in the files
        return std::tuple(quintptr(each.store()), quintptr(&each.entity()), each.number());
    });
    for (qsizetype at = 0; at < oldIDs.size(); at += batchSize) {
        if (_run.isCancelled())
            return {VXErrorDomain, VXErrorCancelled};
        if (VXError error = compareBatch(oldIDs.mid(at, batchSize), source))
            return error;
    }
    return compareTotals();
}

// The properties to compare between objects of two entities.
const QList<VXSourceComparison::Pair> &VXSourceComparison::pairsOf(const VXEntityDescription &old,
                                                                   const VXEntityDescription &made)
{
    const auto known = _pairs.constFind({&old, &made});
    if (known != _pairs.constEnd())
        return *known;
    QList<Pair> pairs;
    for (const VXPropertyDescription *const property : old.properties()) {
        const VXPropertyDescription *const same = made.propertyForName(property->name());
        if (same == nullptr || property->isTransient() || same->isTransient() || !_filter(*property))
            continue;
        const VXRelationshipDescription *const from = property->asRelationship();
        const VXRelationshipDescription *const to = same->asRelationship();
        if ((from == nullptr) != (to == nullptr) || (from != nullptr && isToldByInverse(*from, *to)))
            continue;
        pairs.append({property, same, from == nullptr || !from->isToMany()});
    }
    return *_pairs.insert({&old, &made}, pairs);
}

VXError VXSourceComparison::compareBatch(const QList<ObjectID> &oldIDs, VXManagedObjectContext &source)
{
    VXError error;
    VXError found;
    qsizetype count = 0;
    _sources.clear();
    const auto compare = [&](const VXFetchedRow &fetched) {
        if (!found)
            found = compareRow(fetched.objectID, *fetched.row);
        ++count;
        _run.advance();
    };
    if (!source.storedRows(oldIDs, compare, &error))
        return error;
    if (!found && count < oldIDs.size())
        found = difference(VXLocalizedString(u"%1 objects are gone from the old store."_s).arg(oldIDs.size() - count));
    if (found)
        return found;
    for (auto group = _sources.cbegin(); group != _sources.cend() && !found; ++group)
        found = compareMany(*group.key(), *group, source);
    return found;
}

// Compares a to-many relationship of objects from one or more stores.
VXError VXSourceComparison::compareMany(const VXRelationshipDescription &old, const QList<ObjectID> &oldIDs,
                                        VXManagedObjectContext &source)
{
    VXError error;
    QHash<const VXStoreIdentity *, QList<ObjectID>> groups;
    for (const ObjectID &oldID : oldIDs)
        groups[oldID.store()].append(oldID);
    for (auto group = groups.cbegin(); group != groups.cend(); ++group) {
        const auto store = source.persistentStoreCoordinator()->persistentStoreForIdentity(*group.key());
        QHash<ObjectID, QList<ObjectID>> targets;
        const auto note = [&](const ObjectID &oldID, const ObjectID &target) { targets[oldID].append(target); };
        if (!store)
            return difference(VXLocalizedString(u"%1 objects are gone from the old store."_s).arg(group->size()));
        if (!store->related(*group, old, note, &error))
            return error;
        for (auto each = targets.cbegin(); each != targets.cend(); ++each) {
            const VXManagedObjectPtr object = _run.newObjects().value(each.key());
            const Pair pair{&old, object->entity().propertyForName(old.name()), false};
            compareReferences(each.key(), *each, pair, *object);
        }
    }
    return {};
}

VXError VXSourceComparison::compareRow(const ObjectID &oldID, const VXStoreRow &row)
{
    const VXManagedObjectPtr object = _run.newObjects().value(oldID);
    if (!object || object->managedObjectContext() != &_made || object->isDeleted())
        return difference(
            VXLocalizedString(u"The new store has no object for %1."_s).arg(oldID.uriRepresentation().toString()));
    if (const Shape shape(&oldID.entity(), &object->entity()); shape != _shape) {
        _shape = shape;
        _pairsOfShape = pairsOf(oldID.entity(), object->entity());
    }
    for (const Pair &pair : std::as_const(_pairsOfShape)) {
        if (!pair.isInRow) // read for many objects at once, afterwards
            _sources[pair.old->asRelationship()].append(oldID);
        if (!row.hasValue(pair.old->index()))
            continue; // there is nothing to lose
        if (const ObjectID *const target = row.target(pair.old->index()))
            compareReference(oldID, *target, pair, *object);
        else if (VXError error = compareValue(oldID, row, pair, *object))
            return error;
    }
    return {};
}

VXError VXSourceComparison::compareValue(const ObjectID &oldID, const VXStoreRow &row, const Pair &pair,
                                         const VXManagedObject &object)
{
    const int index = pair.made->index();
    const int oldIndex = pair.old->index();
    if (object.isSame(index, row, oldIndex))
        return {};
    const QVariant value = object.attribute(index);
    if (VXIsSameValue(value, row.value(oldIndex)))
        return {};
    if (!_run.digestOfChanges(*pair.old))
        return _run.standsForSeveral(object) ? VXError() : differs(*pair.old, oldID);
    _changes[pair.old] += VXStoreMigration::digestOf(oldID, value);
    return {};
}

VXManagedObjectPtr VXSourceComparison::wantedTarget(const ObjectID &target, const Pair &pair) const
{
    return VXMigratedTarget(target, _run.newObjects(), pair.made->asRelationship());
}

void VXSourceComparison::noteLost(const ObjectID &oldID, const Pair &pair)
{
    Lost &lost = _lost[pair.old];
    if (lost.count++ == 0)
        lost.first = oldID;
}

void VXSourceComparison::compareReference(const ObjectID &oldID, const ObjectID &target, const Pair &pair,
                                          const VXManagedObject &object)
{
    if (pair.made->asRelationship()->isToMany())
        return compareReferences(oldID, {target}, pair, object);
    const ObjectID *const kept = object.relatedID(pair.made->index());
    const VXManagedObjectPtr wanted = wantedTarget(target, pair);
    if (wanted && (kept == nullptr || *kept != wanted->objectID()) && !_run.standsForSeveral(object))
        noteLost(oldID, pair);
}

void VXSourceComparison::compareReferences(const ObjectID &oldID, const QList<ObjectID> &targets, const Pair &pair,
                                           const VXManagedObject &object)
{
    const QList<ObjectID> list = object.relatedIDs(pair.made->index());
    const QSet<ObjectID> kept = list.size() > 1 ? QSet<ObjectID>(list.cbegin(), list.cend()) : QSet<ObjectID>();
    for (const ObjectID &target : targets) {
        const VXManagedObjectPtr wanted = wantedTarget(target, pair);
        if (wanted && !(list.size() > 1 ? kept.contains(wanted->objectID()) : list.contains(wanted->objectID())))
            noteLost(oldID, pair);
    }
}

// Whether the property belongs to objects that stand for several old ones: there the value of one old object overwrites
// that of another.
bool VXSourceComparison::isOfShared(const VXPropertyDescription &old) const
{
    const VXMigratedObjects &made = _run.newObjects();
    return std::any_of(made.keyValueBegin(), made.keyValueEnd(), [&](const auto &each) {
        return _run.standsForSeveral(*each.second) && each.first.entity().properties().contains(&old);
    });
}

// Checks that exactly the values that hooks changed are different.
VXError VXSourceComparison::compareTotals() const
{
    for (auto each = _changes.cbegin(); each != _changes.cend(); ++each) {
        if (*each != _run.digestOfChanges(*each.key()) && !isOfShared(*each.key()))
            return difference(VXLocalizedString(u"\"%1\" of \"%2\" has other values than the old objects, and than the "
                                                "plugin gave for them."_s)
                                  .arg(each.key()->name(), each.key()->entity().name()));
    }
    for (auto each = _lost.cbegin(); each != _lost.cend(); ++each) {
        if (each->count > _run.countWithoutRoom(*each.key()))
            return differs(*each.key(), each->first);
    }
    return {};
}

bool VXIsLikeSource(VXManagedObjectContext &source, const VXManagedObjectContext &made,
                    const VXSourceComparison::Filter &filter, VXError *error)
{
    VXStoreMigration *const run = VXStoreMigration::current();
    const VXError difference =
        run != nullptr && run->verifies() ? VXSourceComparison(*run, made, filter).compare(source) : VXError();
    VXSetError(error, difference);
    return !difference;
}
