#include "VXManagedObjectContextSave.h"

// An object that is kept after all is restored along with what its delete rules have deleted; references to it that
// they removed are restored, unless the context or the store has changed them.
void VXManagedObjectContext::Save::restoreDeleted(Part &part)
{
    QList<ObjectPtr> restored;
    for (const Yielding &each : _yielding) {
        if (each.stored && each.object->isDeleted() && each.object->objectID().store() == &part.store->identity() &&
            !_restored.contains(each.object))
            restored.append(ObjectPtr(each.object));
    }
    while (!restored.isEmpty()) {
        const ObjectPtr object = restored.takeLast();
        if (_restored.contains(object.get()))
            continue;
        _restored.insert(object.get());
        _refreshed.insert(object->objectID());
        const DeleteEffects effects = _context._deleteEffects.value(object.get());
        restored += restoreCascaded(part, effects);
        restoreNullified(part, *object, effects);
    }
}

QList<VXManagedObjectPtr> VXManagedObjectContext::Save::restoreCascaded(Part &part, const DeleteEffects &effects)
{
    QList<ObjectPtr> restored;
    for (const ObjectPtr &other : effects.deleted) {
        const qsizetype place = placeOf(part, other->objectID());
        if (place < 0 || part.request.changes[place].row)
            continue;
        _yielding.push_back({other.get(), part.request.changes[place].base});
        drop(part, other->objectID());
        restored.append(other);
    }
    return restored;
}

void VXManagedObjectContext::Save::restoreNullified(Part &part, const VXManagedObject &object,
                                                    const DeleteEffects &effects)
{
    for (const auto &[other, relationship] : effects.nullified) {
        _refreshed.insert(other->objectID());
        const qsizetype place = placeOf(part, other->objectID());
        if (place < 0 || relationship->isToMany())
            continue;
        VXRowChange &change = part.request.changes[place];
        if (!change.row || !change.base || change.row->target(relationship->index()) != nullptr ||
            !leadsTo(*change.base, *relationship, object.objectID()))
            continue;
        setTarget(change, *relationship, QVariant::fromValue(object.objectID()));
        change.changedProperties.removeAll(relationship->index());
        if (change.changedProperties.isEmpty())
            drop(part, other->objectID());
    }
}
