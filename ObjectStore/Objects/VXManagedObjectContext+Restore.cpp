#include "VXManagedObjectContextSave.h"

// An object whose deletion gives way stays, with what its delete rules have deleted, and what they took from it leads there
// again, unless the context or the store has it lead elsewhere.
void VXManagedObjectContext::Save::restoreDeleted(Part &part)
{
    QList<ObjectPtr> restored;
    for (const Yielding &each : _yielding) {
        if (each.stored && each.object->isDeleted() && each.object->objectID().store() == &part.store->identity() &&
            !_restored.contains(each.object))
            restored.append(ObjectPtr(each.object));
    }
    if (restored.isEmpty())
        return;
    Places places;
    for (qsizetype place = 0; place < part.request.changes.size(); ++place)
        places.insert(part.request.changes[place].objectID, place);
    QSet<ObjectID> dropped;
    while (!restored.isEmpty()) {
        const ObjectPtr object = restored.takeLast();
        if (_restored.contains(object.get()))
            continue;
        _restored.insert(object.get());
        _refreshed.insert(object->objectID());
        const DeleteEffects effects = _context._deleteEffects.value(object.get());
        restored += restoreCascaded(part, places, effects, &dropped);
        restoreNullified(part, places, *object, effects, &dropped);
    }
    removeChanges(part, dropped);
}

QList<VXManagedObjectPtr> VXManagedObjectContext::Save::restoreCascaded(const Part &part, const Places &places,
                                                                        const DeleteEffects &effects,
                                                                        QSet<ObjectID> *dropped)
{
    QList<ObjectPtr> restored;
    for (const ObjectPtr &other : effects.deleted) {
        const qsizetype place = places.value(other->objectID(), -1);
        if (place < 0 || part.request.changes[place].row || dropped->contains(other->objectID()))
            continue;
        _yielding.push_back({other.get(), part.request.changes[place].base});
        dropped->insert(other->objectID());
        restored.append(other);
    }
    return restored;
}

void VXManagedObjectContext::Save::restoreNullified(Part &part, const Places &places, const VXManagedObject &object,
                                                    const DeleteEffects &effects, QSet<ObjectID> *dropped)
{
    for (const auto &[other, relationship] : effects.nullified) {
        _refreshed.insert(other->objectID());
        const qsizetype place = places.value(other->objectID(), -1);
        if (place < 0 || relationship->isToMany())
            continue;
        VXRowChange &change = part.request.changes[place];
        if (!change.row || !change.base || change.row->target(relationship->index()) != nullptr ||
            !leadsTo(*change.base, *relationship, object.objectID()))
            continue;
        setTarget(change, *relationship, QVariant::fromValue(object.objectID()));
        change.changedProperties.removeAll(relationship->index());
        if (change.changedProperties.isEmpty())
            dropped->insert(other->objectID());
    }
}

void VXManagedObjectContext::Save::removeChanges(Part &part, const QSet<ObjectID> &dropped)
{
    std::vector<VXManagedObject *> objects;
    QList<VXRowChange> changes;
    for (size_t place = 0; place < part.objects.size(); ++place) {
        VXRowChange &change = part.request.changes[qsizetype(place)];
        if (dropped.contains(change.objectID))
            continue;
        changes.append(std::move(change));
        objects.push_back(part.objects[place]);
    }
    part.request.changes = std::move(changes);
    part.objects = std::move(objects);
}
