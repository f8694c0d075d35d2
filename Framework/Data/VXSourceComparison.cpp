#include "VXSourceComparison.h"

#include "VXErrorDomain.h"
#include "VXFramework.h"
#include "VXManagedObjectContext.h"
#include "VXStoreMigration.h"
#include "VXValueIdentity.h"

#include <QtCore/QSet>

#include <algorithm>

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

// Both ends are looked at as one, at that which leads to one object.
bool isToldByInverse(const VXRelationshipDescription &old, const VXRelationshipDescription &made)
{
    const VXRelationshipDescription *const oldInverse = old.inverse();
    const VXRelationshipDescription *const madeInverse = made.inverse();
    return oldInverse != nullptr && madeInverse != nullptr && !oldInverse->isToMany() && !madeInverse->isToMany() &&
           !oldInverse->isTransient() && oldInverse->name() == madeInverse->name();
}

} // namespace

bool VXIsPlainlySame(const VXManagedObject &object, int index, const VXStoreRow &row, int rowIndex)
{
    switch (row.kind(rowIndex)) {
    case VXStoreRow::Kind::Text:
        return !object.text(index).isNull() && object.text(index) == row.text(rowIndex);
    case VXStoreRow::Kind::Data:
        return !object.data(index).isNull() && object.data(index) == row.data(rowIndex);
    case VXStoreRow::Kind::Integer:
    case VXStoreRow::Kind::LongInteger:
    case VXStoreRow::Kind::Boolean:
    case VXStoreRow::Kind::Date:
        return object.number(index) == row.number(rowIndex);
    case VXStoreRow::Kind::Real:
        return object.real(index) == row.real(rowIndex);
    default:
        return false;
    }
}

VXSourceComparison::VXSourceComparison(VXStoreMigration &run, const VXManagedObjectContext &made, const Filter &filter)
    : _run(run), _made(made), _filter(filter)
{
}

VXError VXSourceComparison::compare(VXPersistentStoreCoordinator &source)
{
    QHash<const VXStoreIdentity *, QList<ObjectID>> oldIDs;
    for (auto each = _run.newObjects().keyBegin(); each != _run.newObjects().keyEnd(); ++each)
        oldIDs[each->store()].append(*each);
    _run.begin(VXStoreMigration::Phase::Comparing, _run.newObjects().size());
    for (auto group = oldIDs.begin(); group != oldIDs.end(); ++group) {
        const auto store = group.key() == nullptr ? nullptr : source.persistentStoreForIdentity(*group.key());
        if (!store)
            return difference(VXLocalizedString(u"%1 objects are of no old store."_s).arg(group->size()));
        std::ranges::sort(*group, {}, [](const ObjectID &each) { // as they lie in the file
            return std::pair(quintptr(&each.entity()), each.number());
        });
        for (qsizetype at = 0; at < group->size(); at += batchSize) {
            if (_run.isCancelled())
                return {VXErrorDomain, VXErrorCancelled};
            if (VXError error = compareBatch(group->mid(at, batchSize), *store))
                return error;
        }
    }
    return compareTotals();
}

// What there is to compare between objects of two entities.
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

VXError VXSourceComparison::compareBatch(const QList<ObjectID> &oldIDs, VXPersistentStore &source)
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
    if (!source.rows(oldIDs, compare, &error))
        return error;
    if (!found && count < oldIDs.size())
        found = difference(VXLocalizedString(u"%1 objects are gone from the old store."_s).arg(oldIDs.size() - count));
    if (found)
        return found;
    for (auto group = _sources.cbegin(); group != _sources.cend(); ++group) {
        QHash<ObjectID, QList<ObjectID>> targets;
        const auto note = [&](const ObjectID &oldID, const ObjectID &target) { targets[oldID].append(target); };
        if (!source.related(*group, *group.key(), note, &error))
            return error;
        for (auto each = targets.cbegin(); each != targets.cend(); ++each) {
            const VXManagedObjectPtr object = _run.newObjects().value(each.key());
            const Pair pair{group.key(), object->entity().propertyForName(group.key()->name()), false};
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
        if (!pair.isInRow) // read for many at once, afterwards
            _sources[pair.old->asRelationship()].append(oldID);
        if (!row.hasValue(pair.old->index()))
            continue; // nothing of it can be lost
        if (const ObjectID *const target = row.target(pair.old->index()))
            compareReferences(oldID, {*target}, pair, *object);
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
    const bool isAlike = pair.made->asAttribute()->type() == pair.old->asAttribute()->type();
    if (isAlike && VXIsPlainlySame(object, index, row, oldIndex))
        return {};
    const QVariant value = object.attribute(index);
    if (VXIsSameValue(value, row.value(oldIndex)))
        return {};
    if (!_run.digestOfChanges(*pair.old))
        return differs(*pair.old, oldID);
    _changes[pair.old] += VXStoreMigration::digestOf(oldID, value);
    return {};
}

void VXSourceComparison::compareReferences(const ObjectID &oldID, const QList<ObjectID> &targets, const Pair &pair,
                                           const VXManagedObject &object)
{
    const QList<ObjectID> list = object.relatedIDs(pair.made->index());
    const QSet<ObjectID> kept = list.size() > 1 ? QSet<ObjectID>(list.cbegin(), list.cend()) : QSet<ObjectID>();
    for (const ObjectID &target : targets) {
        const VXManagedObjectPtr wanted = VXMigratedTarget(target, _run.newObjects(), pair.made->asRelationship());
        if (!wanted || (list.size() > 1 ? kept.contains(wanted->objectID()) : list.contains(wanted->objectID())))
            continue;
        Lost &lost = _lost[pair.old];
        if (lost.count++ == 0)
            lost.first = oldID;
    }
}

// That the values that differ are those that hooks were asked for, and no others.
VXError VXSourceComparison::compareTotals() const
{
    for (auto each = _changes.cbegin(); each != _changes.cend(); ++each) {
        if (*each != _run.digestOfChanges(*each.key()))
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
